// What macOS tells a signal handler, read from recorded contexts.
#include <gtest/gtest.h>
#include <signal.h>

#include "media_core/biz_engine/crash_handler/machine/threads/context_registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "tests/mach_double/recorded_context.h"

namespace CrashHandler::machine {
namespace {

constexpr uint16_t kDivideError = 0;
constexpr uint16_t kSingleStep = 1;
constexpr uint16_t kBreakpoint = 3;
constexpr uint16_t kInvalidOpcode = 6;
constexpr uint16_t kGeneralProtection = 13;
constexpr uint16_t kPageFault = 14;
constexpr uint16_t kSystemCall = 0x80;

bool FaultBy(int signo, uint16_t vector) {
  const mach_double::RecordedContext context = mach_double::RecordContext(vector, {});
  const siginfo_t info = {};  // its code does not tell
  return IsFault(signo, &info, context.get());
}

TEST(ContextOnMach, FaultsAreToldByTheWayIntoTheKernel) {
  EXPECT_TRUE(FaultBy(SIGSEGV, kPageFault));
  EXPECT_TRUE(FaultBy(SIGBUS, kPageFault));
  EXPECT_TRUE(FaultBy(SIGSEGV, kGeneralProtection));
  EXPECT_TRUE(FaultBy(SIGFPE, kDivideError));
  EXPECT_TRUE(FaultBy(SIGILL, kInvalidOpcode));
}

TEST(ContextOnMach, ATrapIsNotRepeated) { EXPECT_FALSE(FaultBy(SIGTRAP, kBreakpoint)); }

bool OfInstructionBy(int signo, uint16_t vector) {
  const mach_double::RecordedContext context = mach_double::RecordContext(vector, {});
  siginfo_t info = {};
  info.si_code = TRAP_BRKPT;  // as the platform writes it for every SIGTRAP
  return IsOfInstruction(signo, &info, context.get());
}

TEST(ContextOnMach, AFaultAndATrapAreOfTheirInstruction) {
  EXPECT_TRUE(OfInstructionBy(SIGTRAP, kBreakpoint));
  EXPECT_TRUE(OfInstructionBy(SIGTRAP, kSingleStep));
  EXPECT_TRUE(OfInstructionBy(SIGSEGV, kPageFault));
}

TEST(ContextOnMach, ATrapsSignalThatWasSentIsOfNoInstruction) {
  EXPECT_FALSE(OfInstructionBy(SIGTRAP, kSystemCall));
  EXPECT_FALSE(OfInstructionBy(SIGSEGV, kSystemCall));
  const siginfo_t info = {};
  EXPECT_FALSE(IsOfInstruction(SIGTRAP, &info, nullptr));
}

TEST(ContextOnMach, ASignalThatWasSentIsNoFault) {
  for (const int signo : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP}) {
    EXPECT_FALSE(FaultBy(signo, kSystemCall)) << signo;
  }
}

TEST(ContextOnMach, OtherSignalsAreNoFaultsWhateverCameBefore) {
  for (const int signo : {SIGABRT, SIGPIPE, SIGSYS}) EXPECT_FALSE(FaultBy(signo, kPageFault));
}

TEST(ContextOnMach, WithoutAContextItIsNoFault) {
  const siginfo_t info = {};
  EXPECT_FALSE(IsFault(SIGSEGV, &info, nullptr));
}

FaultAccess AccessBy(int signo, uint16_t vector, uint32_t error_code) {
  const mach_double::RecordedContext context = mach_double::RecordContext(vector, {}, error_code);
  const siginfo_t info = {};
  return AccessOfFault(signo, &info, context.get());
}

TEST(ContextOnMach, APageFaultTellsItsAccess) {
  EXPECT_EQ(FaultAccess::kRead, AccessBy(SIGSEGV, kPageFault, 0x4));
  EXPECT_EQ(FaultAccess::kWrite, AccessBy(SIGBUS, kPageFault, 0x6));
  EXPECT_EQ(FaultAccess::kExecute, AccessBy(SIGSEGV, kPageFault, 0x15));
  EXPECT_EQ(FaultAccess::kUnknown, AccessBy(SIGSEGV, kGeneralProtection, 0x2));
  EXPECT_EQ(FaultAccess::kUnknown, AccessBy(SIGFPE, kDivideError, 0x2));
  EXPECT_EQ(FaultAccess::kUnknown, AccessBy(SIGSEGV, kSystemCall, 0x2));
}

TEST(ContextOnMach, AnAddressIsThereWhereTheProcessorTellsOne) {
  siginfo_t info = {};
  info.si_addr = reinterpret_cast<void*>(0x1234);
  const auto told = [&info](int signo, uint16_t vector) {
    const mach_double::RecordedContext context = mach_double::RecordContext(vector, {});
    uint64_t address = 0;
    return AddressOfFault(signo, &info, context.get(), &address) ? address : 0;
  };
  EXPECT_EQ(0x1234U, told(SIGSEGV, kPageFault));
  EXPECT_EQ(0x1234U, told(SIGFPE, kDivideError));
  EXPECT_EQ(0U, told(SIGSEGV, kGeneralProtection));
  EXPECT_EQ(0U, told(SIGSEGV, kSystemCall));
}

TEST(ContextOnMach, TheRegistersAreTheInterruptedOnes) {
  x86_thread_state64_t state = {};
  state.__rip = 0x1111;
  state.__rsp = 0x2222;
  state.__rbp = 0x3333;
  state.__r15 = 0x4444;
  const mach_double::RecordedContext context = mach_double::RecordContext(kPageFault, state);
  const Registers registers = RegistersOfContext(context.get());
  EXPECT_EQ(0x1111U, registers.rip);
  EXPECT_EQ(0x2222U, registers.rsp);
  EXPECT_EQ(0x3333U, registers.rbp);
  EXPECT_EQ(0x4444U, registers.r15);
}

}  // namespace
}  // namespace CrashHandler::machine
