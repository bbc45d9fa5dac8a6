// Failed allocations, which a sanitizer's own `operator new` does not have, and a crash on a stack
// that is too small for a sanitizer's frames.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/crash_matrix/crash_scenario_test.h"

namespace {

using oru_test::ChildResult;
using oru_test::kRealDeadlineMs;
using oru_test::kRefused;
using CrashAllocatorTest = oru_test::CrashScenarioTest;

TEST_F(CrashAllocatorTest, RefusedFailedAllocationGetsItsExceptionAfterABoundedLog) {
  const ChildResult result = Run("FailedAllocationAfterSurvivedSignal", kRealDeadlineMs);
  EXPECT_EQ(result.exit_code, 0) << result.Ending();
  const long refused = Count(result, "2 DarwinCrashHandler::already had crash hanppend");
  EXPECT_GE(refused, 1);
  EXPECT_LE(refused, 12);
  ExpectOneWholeReport();
}

TEST_F(CrashAllocatorTest, ThrowingPredecessorOfTheNewHandlerIsKept) {
  const ChildResult result = Run("FailedAllocationWithThrowingPredecessor", kRealDeadlineMs);
  EXPECT_EQ(result.exit_code, 0) << result.Ending();
  ExpectOneWholeReport();
}

// Which thread gets the last of the memory is open: the report may be an ordinary one, or have to
// be rescued from the Objective-C runtime, which aborts, or from a fault.
TEST_F(CrashAllocatorTest, ThreadsThatUseUpAllMemoryLeaveOneReportHoweverTheyEnd) {
  const ChildResult result = Run("SmallNewInALimitOnThreads", kRealDeadlineMs);
  EXPECT_TRUE(result.exit_code == 97 || result.signal == SIGABRT || result.signal == SIGSEGV)
      << result.Ending();
  ExpectOneWholeReport();
}

TEST_F(CrashAllocatorTest, FaultAfterAFailedAllocationEndsByThatSignal) {
  const ChildResult result = Run("FaultAfterFailedAllocation");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Count(result, kRefused), 1);
}

TEST_F(CrashAllocatorTest, FaultOnAnotherThreadAfterAFailedAllocationEndsByThatSignal) {
  const ChildResult result = Run("FaultOnAnotherThreadAfterFailedAllocation");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Count(result, kRefused), 1);
}

using CrashStackTest = oru_test::CrashScenarioTest;

TEST_F(CrashStackTest, SixtyFourKilobytesOfAlternateStackAreEnoughForAReport) {
  const ChildResult result = Run("FaultOnASmallAlternateStack", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  ExpectOneWholeReport();
}

}  // namespace
