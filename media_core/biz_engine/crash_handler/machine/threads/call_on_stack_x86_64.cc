#include "media_core/biz_engine/crash_handler/machine/threads/call_on_stack.h"

#if defined(__x86_64__)

namespace CrashHandler::machine {

// The caller's stack pointer is kept in the frame pointer, by which the unwind tables find it too.
__attribute__((naked, noinline)) void OruCallOnStack(void*, void (*)(void*), void*) {
  asm volatile(
      "pushq %rbp\n"
      ".cfi_def_cfa_offset 16\n"
      ".cfi_offset %rbp, -16\n"
      "movq %rsp, %rbp\n"
      ".cfi_def_cfa_register %rbp\n"
      "testq %rdi, %rdi\n"
      "cmovnzq %rdi, %rsp\n"
      "movq %rdx, %rdi\n"
      "callq *%rsi\n"
      "movq %rbp, %rsp\n"
      "popq %rbp\n"
      ".cfi_def_cfa %rsp, 8\n"
      "retq\n"
      // No other function begins within what IsInCallOnStack takes for this one.
      ".balign 64\n");
}

}  // namespace CrashHandler::machine

#endif
