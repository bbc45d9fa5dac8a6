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
