#include "media_core/biz_engine/crash_handler/machine/threads/call_on_stack.h"

#if defined(__aarch64__)

namespace CrashHandler::machine {

// The caller's stack pointer is kept in the frame pointer, by which walks find it too.
__attribute__((naked, noinline)) void OruCallOnStack(void*, void (*)(void*), void*) {
  asm volatile(
      "stp x29, x30, [sp, #-16]!\n"
      "mov x29, sp\n"
      "mov x9, sp\n"
      "cmp x0, #0\n"
      "csel x9, x9, x0, eq\n"
      "mov sp, x9\n"
      "mov x0, x2\n"
      "blr x1\n"
      "mov sp, x29\n"
      "ldp x29, x30, [sp], #16\n"
      "ret\n"
      // No other function begins within what IsInCallOnStack takes for this one.
      ".balign 64\n");
}

}  // namespace CrashHandler::machine

#endif
