// The registers of every processor are read on every processor, from thread states as kernels hand
// them out.
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"

namespace CrashHandler::machine {
namespace {

TEST(RegistersX8664Test, EachAccessorReadsOneRegisterAndThereIsNoLinkRegister) {
  RegistersX8664 registers = {};
  registers.rip = 1;
  registers.rbp = 2;
  registers.rsp = 3;
  EXPECT_EQ(mach_instructionAddress(registers), 1U);
  EXPECT_EQ(mach_framePointer(registers), 2U);
  EXPECT_EQ(mach_stackPointer(registers), 3U);
  EXPECT_EQ(mach_linkRegister(registers), 0U);
}

// A thread waiting in the kernel: 34 words, as ARM_THREAD_STATE64 has them before its flags. The
// link register and the instruction pointer are signed.
constexpr uint64_t kWaitingThread[] = {0x104,
                                       0,
                                       0,
                                       0,
                                       0,
                                       0xa0,
                                       0x3b9aca00,
                                       0x1,
                                       0x16b4d6f98,
                                       0,
                                       0,
                                       0,
                                       0,
                                       0,
                                       0,
                                       0,
                                       0x131,
                                       0x1f0a2c6d8,
                                       0,
                                       0x6000025d0028,
                                       0x6000025d0068,
                                       0,
                                       0,
                                       0x16b4d70e0,
                                       0,
                                       0,
                                       0,
                                       0,
                                       0,
                                       /* fp, lr, sp, pc */ 0x16b4d6f80,
                                       0x9d6d80018b1a9818,
                                       0x16b4d6f20,
                                       0x0031000186e0b06c};

TEST(RegistersArm64Test, AThreadStateIsReadByPlace) {
  RegistersArm64 registers;
  static_assert(sizeof(registers) == sizeof(kWaitingThread));
  memcpy(&registers, kWaitingThread, sizeof(registers));
  EXPECT_EQ(registers.x[0], 0x104U);
  EXPECT_EQ(registers.x[28], 0U);
  EXPECT_EQ(mach_framePointer(registers), 0x16b4d6f80U);
  EXPECT_EQ(mach_stackPointer(registers), 0x16b4d6f20U);
}

TEST(RegistersArm64Test, CodeAddressesLoseTheirAuthenticationCodes) {
  RegistersArm64 registers;
  memcpy(&registers, kWaitingThread, sizeof(registers));
  EXPECT_EQ(mach_instructionAddress(registers), 0x186e0b06cU);
  EXPECT_EQ(mach_linkRegister(registers), 0x18b1a9818U);
}

TEST(RegistersArm64Test, APlainAddressStaysAsItIs) {
  RegistersArm64 registers = {};
  registers.pc = 0x00007fffdeadbee0;
  EXPECT_EQ(mach_instructionAddress(registers), 0x00007fffdeadbee0U);
}

uint32_t Syndrome(uint32_t exception_class) { return exception_class << 26 | 1U << 25 | 0x46; }

TEST(ExceptionClassTest, OnArm64AFaultingAccessIsRepeated) {
  EXPECT_TRUE(SyndromeRepeats(0x92000046));  // data abort of a program: a write to an unmapped page
  EXPECT_TRUE(SyndromeRepeats(0x82000006));  // instruction abort: a call to an unmapped page
  EXPECT_TRUE(SyndromeRepeats(Syndrome(0x22)));
  EXPECT_TRUE(SyndromeRepeats(Syndrome(0x26)));
}

TEST(ExceptionClassTest, OnArm64AnUnknownInstructionIsRepeated) {
  EXPECT_TRUE(SyndromeRepeats(0x02000000));
  EXPECT_TRUE(SyndromeRepeats(Syndrome(0x18)));
}

TEST(ExceptionClassTest, OnArm64ABreakpointInstructionComesUpAgain) {
  EXPECT_TRUE(
      SyndromeRepeats(0xf2000001));  // brk #1, as __builtin_trap and __builtin_debugtrap make it
}

TEST(ExceptionClassTest, OnArm64ASystemCallIsNotRepeated) {
  EXPECT_FALSE(SyndromeRepeats(0x56000080));  // svc #0x80
}

TEST(ExceptionClassTest, OnArm64SingleStepsAndWatchpointsAreNotRepeated) {
  for (const uint32_t debug : {0x30U, 0x32U, 0x34U}) EXPECT_FALSE(SyndromeRepeats(Syndrome(debug)));
}

TEST(ExceptionClassTest, TrapsAreOfTheirInstructionAndNothingElseIs) {
  for (const uint32_t debug : {0x30U, 0x32U, 0x34U}) EXPECT_TRUE(SyndromeTraps(Syndrome(debug)));
  EXPECT_FALSE(SyndromeTraps(0x56000080));
  for (const unsigned trap : {1U, 3U}) EXPECT_TRUE(VectorTraps(trap)) << trap;
  for (const unsigned vector : {2U, 14U, 33U, 0x81U}) EXPECT_FALSE(VectorTraps(vector)) << vector;
}

TEST(ExceptionClassTest, OnX8664FaultsAreRepeatedAndTrapsAreNot) {
  for (const unsigned fault : {0U, 6U, 13U, 14U, 16U, 19U})
    EXPECT_TRUE(VectorRepeats(fault)) << fault;
  // Single step, breakpoint, overflow; a double fault never comes back.
  for (const unsigned trap : {1U, 3U, 4U, 8U}) EXPECT_FALSE(VectorRepeats(trap)) << trap;
}

TEST(ExceptionClassTest, OnX8664InterruptsAndSystemCallsAreNotRepeated) {
  for (const unsigned vector : {32U, 0x81U, 0xd0U, 255U})
    EXPECT_FALSE(VectorRepeats(vector)) << vector;
}

TEST(ExceptionClassTest, APageFaultsErrorCodeTellsItsAccess) {
  constexpr unsigned kPageFault = 14;
  EXPECT_EQ(AccessOfVector(kPageFault, 0x4), FaultAccess::kRead);
  EXPECT_EQ(AccessOfVector(kPageFault, 0x7), FaultAccess::kWrite);
  EXPECT_EQ(AccessOfVector(kPageFault, 0x15), FaultAccess::kExecute);
  EXPECT_EQ(AccessOfVector(13, 0x7), FaultAccess::kUnknown);
  EXPECT_EQ(AccessOfVector(0, 0x2), FaultAccess::kUnknown);
}

TEST(ExceptionClassTest, AnAbortsSyndromeTellsItsAccess) {
  EXPECT_EQ(AccessOfSyndrome(0x92000006), FaultAccess::kRead);     // data, translation, level 2
  EXPECT_EQ(AccessOfSyndrome(0x92000046), FaultAccess::kWrite);    // the same for a write
  EXPECT_EQ(AccessOfSyndrome(0x92000146), FaultAccess::kUnknown);  // maintenance of a cache
  EXPECT_EQ(AccessOfSyndrome(0x82000006), FaultAccess::kExecute);  // instruction
  EXPECT_EQ(AccessOfSyndrome(0x02000000), FaultAccess::kUnknown);  // unknown instruction
  EXPECT_EQ(AccessOfSyndrome(0xf2000001), FaultAccess::kUnknown);  // breakpoint
}

}  // namespace
}  // namespace CrashHandler::machine
