#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"

namespace CrashHandler::machine {
namespace {

constexpr uint64_t Bit(unsigned number) { return uint64_t{1} << number; }

// Intel's manual, volume 3, "Exception and Interrupt Reference": divide error, bound, invalid
// opcode, invalid segment state, absent segment, stack, general protection, page, x87, alignment,
// SIMD.
constexpr uint64_t kRepeatedVectors = Bit(0) | Bit(5) | Bit(6) | Bit(10) | Bit(11) | Bit(12) |
                                      Bit(13) | Bit(14) | Bit(16) | Bit(17) | Bit(19);

// Arm's architecture reference, "ESR_EL1", the exception classes that programs run into: unknown
// instruction, vector unit, branch target, illegal state, system register, failed authentication,
// matrix unit, instruction and data aborts, misaligned counter and stack, floating point, and the
// breakpoint instruction, which is not stepped over as x86's is.
constexpr uint64_t kRepeatedClasses = Bit(0x00) | Bit(0x07) | Bit(0x0d) | Bit(0x0e) | Bit(0x18) |
                                      Bit(0x1c) | Bit(0x1d) | Bit(0x20) | Bit(0x22) | Bit(0x24) |
                                      Bit(0x26) | Bit(0x2c) | Bit(0x3c);
constexpr unsigned kClassShift = 26;

// Debug and breakpoint; breakpoint, single step and watchpoint of a debugger's registers.
constexpr uint64_t kTrapVectors = Bit(1) | Bit(3);
constexpr uint64_t kTrapClasses = Bit(0x30) | Bit(0x32) | Bit(0x34);

// Intel: the error code of a page fault.
constexpr unsigned kPageFault = 14;
constexpr uint64_t kOnWrite = Bit(1);
constexpr uint64_t kOnFetch = Bit(4);

// Arm: the classes of aborts in a program, and the bit of those of data that a write has.
constexpr unsigned kInstructionAbort = 0x20;
constexpr unsigned kDataAbort = 0x24;
constexpr uint32_t kWriteNotRead = 1U << 6;
// Maintenance of a cache counts as a write there.
constexpr uint32_t kCacheMaintenance = 1U << 8;

}  // namespace

bool VectorRepeats(unsigned vector) { return vector < 32 && (kRepeatedVectors & Bit(vector)) != 0; }

bool SyndromeRepeats(uint32_t syndrome) {
  return (kRepeatedClasses & Bit(syndrome >> kClassShift)) != 0;
}

bool VectorTraps(unsigned vector) { return vector < 32 && (kTrapVectors & Bit(vector)) != 0; }

bool SyndromeTraps(uint32_t syndrome) { return (kTrapClasses & Bit(syndrome >> kClassShift)) != 0; }

FaultAccess AccessOfVector(unsigned vector, uint64_t error_code) {
  if (vector != kPageFault) return FaultAccess::kUnknown;
  if ((error_code & kOnFetch) != 0) return FaultAccess::kExecute;
  return (error_code & kOnWrite) != 0 ? FaultAccess::kWrite : FaultAccess::kRead;
}

FaultAccess AccessOfSyndrome(uint32_t syndrome) {
  const unsigned exception_class = syndrome >> kClassShift;
  if (exception_class == kInstructionAbort) return FaultAccess::kExecute;
  if (exception_class != kDataAbort) return FaultAccess::kUnknown;
  if ((syndrome & kCacheMaintenance) != 0) return FaultAccess::kUnknown;
  return (syndrome & kWriteNotRead) != 0 ? FaultAccess::kWrite : FaultAccess::kRead;
}

}  // namespace CrashHandler::machine
