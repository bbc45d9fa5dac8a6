// The general registers of an x86_64 thread. Plain data: known on every processor, so that recorded
// states can be read.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_X86_64_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_X86_64_H_

#include <cstdint>

namespace CrashHandler::machine {

struct RegistersX8664 {
  uint64_t rax, rbx, rcx, rdx, rdi, rsi, rbp, rsp;
  uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
  uint64_t rip;
};

// In the order of the record.
constexpr const char* kRegisterNamesX8664[] = {"rax", "rbx", "rcx", "rdx", "rdi", "rsi",
                                               "rbp", "rsp", "r8",  "r9",  "r10", "r11",
                                               "r12", "r13", "r14", "r15", "rip"};
static_assert(sizeof kRegisterNamesX8664 / sizeof(char*) == sizeof(RegistersX8664) / 8);

// One register each. x86_64 has no link register: a call leaves its return address on the stack.
inline uint64_t mach_instructionAddress(const RegistersX8664& context) { return context.rip; }
inline uint64_t mach_framePointer(const RegistersX8664& context) { return context.rbp; }
inline uint64_t mach_stackPointer(const RegistersX8664& context) { return context.rsp; }
inline uint64_t mach_linkRegister(const RegistersX8664&) { return 0; }

// What of a stored return address is the address.
inline uint64_t ReturnAddressBits(const RegistersX8664&) { return ~uint64_t{0}; }

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_X86_64_H_
