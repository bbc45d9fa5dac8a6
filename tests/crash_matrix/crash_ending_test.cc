// What the crash matrix's rows cannot say of a process: when it ended, what it logged and what
// stands in its report.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/crash_matrix/crash_scenario_test.h"
#include "tests/crash_matrix/matrix_frames.h"
#include "tests/crash_matrix/scenario_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::kRealDeadlineMs;
using oru_test::kRefused;
using CrashEndingTest = oru_test::CrashScenarioTest;

TEST_F(CrashEndingTest, TheRealBoundIsBelowTenSeconds) {
  const ChildResult result = Run("CallbackNeverReturns", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LT(result.wall_s, 10);
}

TEST_F(CrashEndingTest, TwentyThreadsThatFaultTogetherLeaveOneReportAndOneLineEach) {
  const ChildResult result = Run("TwentyThreadsFaultAndTheCallbackAwaitsAll", kRealDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(Count(result, "DarwinCrashHandler::already had crash happend"), 19);
  ExpectOneWholeReport();
}

TEST_F(CrashEndingTest, TwentyFaultsWithoutAReportEndInTimeWithABoundedLog) {
  const ChildResult result = Run("TwentyThreadsFaultAndTheCallbackHangs");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  // A thread may come when the process has ended.
  EXPECT_GE(Count(result, kRefused), 1);
  EXPECT_LE(Count(result, kRefused), 19);
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

// GNU's last handler takes the exception for one of C++, and faults or aborts.
class ObjcOutOfNoexceptTest : public CrashEndingTest {
 protected:
  void ExpectReport(const std::vector<std::string>& options) {
    const ChildResult result = Run("RaiseOutOfNoexceptByDefault", kRealDeadlineMs, options);
    EXPECT_TRUE(result.signal == SIGSEGV || result.signal == SIGABRT) << result.Ending();
    ASSERT_NO_FATAL_FAILURE(ExpectOneWholeReport());
    const auto report =
        oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join("dumps/" + Files()[0])));
    crash_test::Row row{};
    row.frames = {"terminate", "RaiseWithoutAWayOut", "RaiseOutOfNoexceptByDefault"};
    EXPECT_EQ(crash_test::CheckFrames(row, report), "");
  }
};

TEST_F(ObjcOutOfNoexceptTest, IsReportedHoweverItEnds) { ExpectReport({}); }

TEST_F(ObjcOutOfNoexceptTest, IsReportedHoweverItEndsOnAWorker) { ExpectReport({"--worker"}); }

// Runs a copy of the program that has root's rights as another user, in that one's home.
ChildResult RunWithMoreRights(const oru_test::TempDir& home, const std::string& option) {
  constexpr uid_t kAnotherUser = 65534;
  const oru_test::TempDir programs;
  const std::string program = programs.Join("program");
  oru_test::WriteFile(program, oru_test::ReadFile(crash_test::ScenarioChild()));
  EXPECT_EQ(chmod(programs.path().c_str(), 0755), 0);
  EXPECT_EQ(chmod(program.c_str(), 04755), 0);
  EXPECT_EQ(chown(home.path().c_str(), kAnotherUser, kAnotherUser), 0);
  oru_test::ChildOptions options;
  options.env["HOME"] = home.path();
  options.cwd = home.path();
  options.before = [] {
    if (setresgid(kAnotherUser, kAnotherUser, kAnotherUser) != 0 ||
        setresuid(kAnotherUser, kAnotherUser, kAnotherUser) != 0) {
      _exit(1);
    }
  };
  std::vector<std::string> command = {program, "WriteToNull", "dumps", "6000"};
  if (!option.empty()) command.push_back(option);
  return oru_test::RunChild(command, options);
}

TEST(CrashWithMoreRightsTest, NothingIsWrittenBelowTheFolderThatHomeNames) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make such a program";
  const oru_test::TempDir home;
  const ChildResult result = RunWithMoreRights(home, "--default-dir");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending() << result.err;
  EXPECT_EQ(oru_test::ListDir(home.path()), std::vector<std::string>{});
  EXPECT_NE(result.err.find("no crash report dir is ours"), std::string::npos) << result.err;
}

TEST(CrashWithMoreRightsTest, TheFolderThatTheProgramNamesHasTheReport) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make such a program";
  const oru_test::TempDir home;
  const ChildResult result = RunWithMoreRights(home, "");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending() << result.err;
  EXPECT_EQ(oru_test::ListFilesRecursively(home.path()).size(), 1U);
}

}  // namespace
