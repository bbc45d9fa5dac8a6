// Running a function on another stack.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CALL_ON_STACK_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CALL_ON_STACK_H_

#include <cstdint>

namespace CrashHandler::machine {

// Calls the function with the stack pointer at `top`, one past a stack's last byte and a multiple
// of 16; null leaves it where it is. Walks of the stack, by frame pointers or by unwind tables,
// lead from the function through this one to its caller. Exceptions must not leave the function.
// May be used in a signal handler; takes 16 bytes of the caller's stack.
extern "C" void OruCallOnStack(void* top, void (*function)(void*), void* argument);

// Whether the return address is one that the function called by OruCallOnStack returns to.
inline bool IsInCallOnStack(const void* return_address) {
  constexpr uintptr_t kLongest = 64;
  const auto start = reinterpret_cast<uintptr_t>(&OruCallOnStack);
  const auto address = reinterpret_cast<uintptr_t>(return_address);
  return address > start && address - start < kLongest;
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CALL_ON_STACK_H_
