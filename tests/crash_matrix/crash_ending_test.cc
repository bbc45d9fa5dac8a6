// How processes end when handling the crash goes wrong too: always by a signal, never late.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/crash_matrix/crash_scenario_test.h"

namespace {

using oru_test::ChildResult;
using oru_test::kRealDeadlineMs;
using oru_test::kRefused;
using oru_test::kShortDeadlineMs;
using CrashEndingTest = oru_test::CrashScenarioTest;

TEST_F(CrashEndingTest, AnOrdinaryFaultLeavesOneReport) {
  EXPECT_EQ(Run("WriteToNull").signal, SIGSEGV);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, CallbackThatNeverReturnsEndsByTheOriginalSignal) {
  const ChildResult result = Run("CallbackNeverReturns");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_GE(result.wall_s, kShortDeadlineMs / 1000.0);
}

TEST_F(CrashEndingTest, TheRealBoundIsBelowTenSeconds) {
  const ChildResult result = Run("CallbackNeverReturns", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LT(result.wall_s, 10);
}

TEST_F(CrashEndingTest, CallbackThatSpinsEndsByTheOriginalSignal) {
  EXPECT_EQ(Run("CallbackSpins").signal, SIGFPE);
}

TEST_F(CrashEndingTest, CallbackThatBlocksAllSignalsIsKilled) {
  const ChildResult result = Run("CallbackBlocksSignalsAndHangs");
  EXPECT_EQ(result.signal, SIGKILL) << result.Ending();
}

TEST_F(CrashEndingTest, CallbackThatBlocksAllSignalsBesideAnotherThreadEndsByTheOriginalSignal) {
  EXPECT_EQ(Run("CallbackBlocksSignalsBesideAnotherThread").signal, SIGSEGV);
}

TEST_F(CrashEndingTest, CallbackThatFaultsAlikeEndsAtOnce) {
  const ChildResult result = Run("CallbackFaultsAlike", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LT(result.wall_s, 4);
}

TEST_F(CrashEndingTest, CallbackThatFaultsOtherwiseEndsAtOnceByThatSignal) {
  const ChildResult result = Run("CallbackFaultsOtherwise", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGFPE) << result.Ending();
  EXPECT_LT(result.wall_s, 4);
  EXPECT_EQ(Count(result, kRefused), 1);
}

TEST_F(CrashEndingTest, CallbackThatAbortsEndsAtOnce) {
  const ChildResult result = Run("CallbackAborts", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGABRT) << result.Ending();
  EXPECT_LT(result.wall_s, 4);
}

TEST_F(CrashEndingTest, CallbackMayUseTheFacade) {
  EXPECT_EQ(Run("CallbackUsesTheFacade").signal, SIGSEGV);
  ExpectOneWholeReport();
  const std::string text = oru_test::ReadFile(dir_.Join("dumps/" + Files()[0]));
  EXPECT_EQ(oru_test::ParseCrashReport(text).custom_info, "from the callback");
}

TEST_F(CrashEndingTest, SinkThatFaultsEndsByASignal) {
  // It faults while it logs that it was refused, too, with the signal blocked.
  EXPECT_EQ(Run("SinkFaults").signal, SIGFPE);
}

TEST_F(CrashEndingTest, SinkThatHangsEndsByTheOriginalSignal) {
  EXPECT_EQ(Run("SinkHangs").signal, SIGSEGV);
}

TEST_F(CrashEndingTest, FaultOnASecondThreadWaitsForTheFirstReport) {
  const ChildResult result = Run("SecondThreadFaults", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Count(result, kRefused), 1);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, AbortOnASecondThreadWaitsForTheFirstReport) {
  const ChildResult result = Run("SecondThreadAborts", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Count(result, kRefused), 1);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, RaisedSignalOnASecondThreadReturnsAtOnce) {
  const ChildResult result = Run("SecondThreadRaises", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Count(result, "raised and went on"), 1);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, TwentyThreadsThatFaultTogetherLeaveOneReportAndOneLineEach) {
  const ChildResult result = Run("TwentyThreadsFault", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LE(Count(result, kRefused), 19);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, TwentyFaultsWithoutAReportEndInTimeWithABoundedLog) {
  const ChildResult result = Run("TwentyThreadsFaultAndTheCallbackHangs");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LE(Count(result, kRefused), 19);
}

TEST_F(CrashEndingTest, PredecessorThatJumpsOutLetsTheProcessLive) {
  EXPECT_EQ(Run("PredecessorJumpsOut").exit_code, 5);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, FaultAfterThePredecessorJumpedOutEndsAtOnce) {
  const ChildResult result = Run("PredecessorJumpsOutAndAnotherFaultFollows", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LT(result.wall_s, 4);
}

TEST_F(CrashEndingTest, PredecessorMayEndTheProcess) {
  EXPECT_EQ(Run("PredecessorExits").exit_code, 6);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, PredecessorMayTakeLongerThanTheDeadline) {
  EXPECT_EQ(Run("PredecessorTakesItsTime").exit_code, 7);
}

TEST_F(CrashEndingTest, AbortInAThreadThatBlocksAllSignalsIsBoundToo) {
  EXPECT_EQ(Run("AbortWithAllSignalsBlocked").signal, SIGABRT);
}

TEST_F(CrashEndingTest, TwoHundredWaitingThreadsEachHaveTheirBlockWithTheFunctionTheyWaitIn) {
  const ChildResult result = Run("FaultBesideTwoHundredWaitingThreads", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  ASSERT_EQ(Files().size(), 1U);
  const auto report =
      oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join("dumps/" + Files()[0])));
  EXPECT_EQ(report.error, "");
  EXPECT_TRUE(report.thread_failures.empty());
  EXPECT_EQ(report.threads.size(), 201U);
  const std::pair<const char*, const char*> kinds[] = {{"condition-", "WaitsForACondition"},
                                                       {"sleep-", "WaitsAsleep"},
                                                       {"read-", "WaitsToRead"},
                                                       {"lock-", "WaitsForALock"}};
  for (const auto& [name, function] : kinds) {
    for (int i = 0; i < 50; ++i) {
      const auto* thread = report.FindThread(name + std::to_string(i));
      ASSERT_NE(thread, nullptr) << name << i;
      EXPECT_TRUE(report.AnyContains(thread->frames, function)) << name << i;
    }
  }
}

TEST_F(CrashEndingTest, FaultWithoutAFreeDescriptorLeavesAWholeReport) {
  const ChildResult result = Run("FaultWithoutAFreeDescriptor", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  ASSERT_NO_FATAL_FAILURE(ExpectOneWholeReport());
  const auto report =
      oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join("dumps/" + Files()[0])));
  EXPECT_GE(report.threads.size(), 1U);
  EXPECT_TRUE(report.thread_failures.empty());
}

// `backtrace_symbols` asks the dynamic linker, which waits for the other thread.
TEST_F(CrashEndingTest, FaultWhileAnotherThreadHoldsTheLoadersLockEndsByTheOriginalSignal) {
  const ChildResult result = Run("FaultWhileAnotherHoldsTheLoader");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Files(), std::vector<std::string>{});
}

TEST_F(CrashEndingTest, FaultWhileHoldingTheLoadersLockLeavesOneReport) {
  const ChildResult result = Run("FaultHoldingTheLoader", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, CallbackThatHangsWhileAThreadAwaitsRealTimeSignalsEndsByTheOriginalSignal) {
  const ChildResult result = Run("CallbackHangsWhileAThreadAwaitsSignals");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
}

TEST_F(CrashEndingTest, CrashInAForkedChildIsReported) {
  EXPECT_EQ(Run("CrashInForkedChild").exit_code, 8);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, HungForkedChildEndsByTheOriginalSignal) {
  EXPECT_EQ(Run("HungForkedChildEndsToo").exit_code, 8);
}

TEST_F(CrashEndingTest, UninstalledHandlersLeaveTheCrashAlone) {
  const ChildResult result = Run("AfterUninstalling");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashEndingTest, CrashAfterDestroyingUsesTheDefaults) {
  const ChildResult result = Run("AfterDestroying");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_TRUE(Files().empty());
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("Library/Caches/Oru_RTC_Crash")).size(), 1U);
}

}  // namespace
