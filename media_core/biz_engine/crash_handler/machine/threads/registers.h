// A thread's general registers.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_H_

#include <cstdint>

namespace CrashHandler::machine {

// The general registers of an x86_64 thread.
struct Registers {
  uint64_t rax, rbx, rcx, rdx, rdi, rsi, rbp, rsp;
  uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
  uint64_t rip;
};

// One register each. x86_64 has no link register: a call leaves its return address on the stack.
inline uint64_t mach_instructionAddress(const Registers& context) { return context.rip; }
inline uint64_t mach_framePointer(const Registers& context) { return context.rbp; }
inline uint64_t mach_stackPointer(const Registers& context) { return context.rsp; }
inline uint64_t mach_linkRegister(const Registers&) { return 0; }

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_H_
