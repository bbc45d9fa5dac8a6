// The general registers of an arm64 thread, in the order in which the kernel hands them out. Plain
// data: known on every processor, so that recorded states can be read.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_ARM64_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_ARM64_H_

#include <cstdint>

namespace CrashHandler::machine {

struct RegistersArm64 {
  uint64_t x[29];
  uint64_t fp, lr, sp, pc;
};

// In the order of the record.
constexpr const char* kRegisterNamesArm64[] = {
    "x0",  "x1",  "x2",  "x3",  "x4",  "x5",  "x6",  "x7",  "x8",  "x9",  "x10",
    "x11", "x12", "x13", "x14", "x15", "x16", "x17", "x18", "x19", "x20", "x21",
    "x22", "x23", "x24", "x25", "x26", "x27", "x28", "fp",  "lr",  "sp",  "pc"};
static_assert(sizeof kRegisterNamesArm64 / sizeof(char*) == sizeof(RegistersArm64) / 8);

// Addresses of a process end below this; what stands above in a stored code address is its
// authentication code.
constexpr uint64_t kArm64AddressBits = (uint64_t{1} << 47) - 1;

// One register each, code addresses without their authentication codes. The link register holds
// where the innermost call returns to.
inline uint64_t mach_instructionAddress(const RegistersArm64& context) {
  return context.pc & kArm64AddressBits;
}
inline uint64_t mach_framePointer(const RegistersArm64& context) { return context.fp; }
inline uint64_t mach_stackPointer(const RegistersArm64& context) { return context.sp; }
inline uint64_t mach_linkRegister(const RegistersArm64& context) {
  return context.lr & kArm64AddressBits;
}

// What of a stored return address is the address.
inline uint64_t ReturnAddressBits(const RegistersArm64&) { return kArm64AddressBits; }

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_ARM64_H_
