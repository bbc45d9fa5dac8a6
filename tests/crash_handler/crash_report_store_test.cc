#include "media_core/biz_engine/crash_handler/tools/crash_report_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_session.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using Strings = std::vector<std::string>;

constexpr int kDay = 24 * 60 * 60;

class CrashReportStoreTest : public testing::Test {
 protected:
  // A report that was written so many seconds ago.
  std::string WriteReport(const std::string& ids, int age_s, size_t bytes = 10,
                          const std::string& time = "2026-01-02-03-04-05") {
    const std::string folder = dump_dir_ + "/6.1.0";
    oru_test::MakeDirs(folder);
    const std::string path = folder + "/Crash_" + ids + "_Signal_" + time + ".log";
    oru_test::WriteFile(path, std::string(bytes, 'r'));
    if (age_s != 0) MakeOld(path, age_s);
    return path;
  }

  static void MakeOld(const std::string& path, int age_s) {
    const time_t when = time(nullptr) - age_s;
    const timeval times[2] = {{when, 0}, {when, 0}};
    ASSERT_EQ(utimes(path.c_str(), times), 0) << path;
  }

  static std::string Beside(const std::string& report, const std::string& ending) {
    return report.substr(0, report.size() - 4) + ending;
  }

  Strings PendingPaths() const {
    Strings paths;
    for (const PendingReport& report : store_.Pending()) paths.push_back(report.path);
    return paths;
  }

  // Ends like a process that is killed: without the session's end.
  void RunAndVanish(const std::string& app, const std::string& session) {
    const auto run = oru_test::RunInFork([&]() -> int {
      const CrashSession running(dump_dir_, app, session, "", "");
      _exit(running.recorded() ? 0 : 1);
    });
    ASSERT_EQ(run.exit_code, 0);
  }

  oru_test::TempDir dir_;
  const std::string dump_dir_ = dir_.Join("dumps");
  const CrashReportStore store_{dump_dir_};
};

TEST_F(CrashReportStoreTest, AFolderThatIsNotThereHasNoReports) {
  EXPECT_TRUE(store_.Pending().empty());
  EXPECT_EQ(store_.KeepAtMost(), 0U);
  EXPECT_EQ(store_.LastRunOf("app"), LastRun::kUnknown);
  EXPECT_FALSE(oru_test::PathExists(dump_dir_));
}

TEST_F(CrashReportStoreTest, AReportIsTakenApart) {
  const std::string path = WriteReport("app_session-1", 100, 1234);
  oru_test::WriteFile(Beside(path, ".json"), "{}\n");
  const auto pending = CrashReportStore(dump_dir_ + "//").Pending();
  ASSERT_EQ(pending.size(), 1U);
  const PendingReport& report = pending[0];
  EXPECT_EQ(report.path, path);
  EXPECT_EQ(report.companion_path, Beside(path, ".json"));
  EXPECT_EQ(report.app_id, "app");
  EXPECT_EQ(report.session_id, "session-1");
  EXPECT_EQ(report.kind, "Signal");
  EXPECT_EQ(report.sdk_version, "6.1.0");
  EXPECT_EQ(report.bytes, 1237U);
  EXPECT_EQ(report.log_path, "");
  const int64_t wanted_ms = (int64_t{time(nullptr)} - 100) * 1000;
  EXPECT_LT(std::abs(report.written_ms - wanted_ms), 60000);
}

TEST_F(CrashReportStoreTest, TheOldestComesFirst) {
  const std::string newest = WriteReport("a_3", 10);
  const std::string oldest = WriteReport("a_1", 30);
  const std::string middle = WriteReport("a_2", 20);
  EXPECT_EQ(PendingPaths(), (Strings{oldest, middle, newest}));
}

TEST_F(CrashReportStoreTest, OnlyOwnRegularFilesWithAReportsNameCount) {
  const std::string real = WriteReport("a_1", 10);
  const std::string folder = dump_dir_ + "/6.1.0/";
  oru_test::WriteFile(folder + "Crash_a_1_Signal_2026.log", "");
  oru_test::WriteFile(folder + "Crash_a_1_Fire_2026-01-02-03-04-05.log", "");
  oru_test::WriteFile(folder + "Crash_a_Signal_2026-01-02-03-04-05.txt", "");
  oru_test::WriteFile(folder + "report.1.2.tmp", "");
  oru_test::WriteFile(folder + "notes", "");
  ASSERT_EQ(symlink(real.c_str(), (folder + "Crash_a_2_Signal_2026-01-02-03-04-05.log").c_str()),
            0);
  ASSERT_EQ(mkfifo((folder + "Crash_a_3_Signal_2026-01-02-03-04-05.log").c_str(), 0600), 0);
  ASSERT_EQ(symlink("6.1.0", (dump_dir_ + "/link").c_str()), 0);
  EXPECT_EQ(PendingPaths(), Strings{real});
}

TEST_F(CrashReportStoreTest, TheSessionsRecordTellsIdsLogAndTrace) {
  const std::string path = WriteReport("my_app_my_session", 0);
  EXPECT_EQ(store_.Pending().at(0).app_id, "my");
  const CrashSession session(dump_dir_, "my_app", "my_session", "/l og\n%41.log", "/trace.json");
  const auto pending = store_.Pending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].app_id, "my_app");
  EXPECT_EQ(pending[0].session_id, "my_session");
  EXPECT_EQ(pending[0].log_path, "/l og\n%41.log");
  EXPECT_EQ(pending[0].trace_path, "/trace.json");
}

TEST_F(CrashReportStoreTest, ASentReportIsNoLongerPendingAndANewOneOfItsNameIs) {
  const std::string path = WriteReport("a_1", 10);
  const auto pending = store_.Pending();
  ASSERT_TRUE(store_.MarkSent(pending.at(0)));
  EXPECT_EQ(PendingPaths(), Strings{});
  EXPECT_TRUE(oru_test::PathExists(path));
  MakeOld(Beside(path, ".sent"), 5);
  WriteReport("a_1", 0);
  EXPECT_EQ(PendingPaths(), Strings{path});
  ASSERT_TRUE(store_.MarkSent(pending.at(0)));
  EXPECT_EQ(PendingPaths(), Strings{});
}

TEST_F(CrashReportStoreTest, ADeletedReportIsGoneWithItsCompanionAndMark) {
  const std::string path = WriteReport("a_1", 10);
  oru_test::WriteFile(Beside(path, ".json"), "{}\n");
  const auto pending = store_.Pending();
  ASSERT_TRUE(store_.MarkSent(pending.at(0)));
  EXPECT_TRUE(store_.Delete(pending.at(0)));
  EXPECT_TRUE(oru_test::ListFilesRecursively(dump_dir_).empty());
  EXPECT_TRUE(store_.Delete(pending.at(0))) << "a second time";
}

TEST_F(CrashReportStoreTest, WhatSomebodyElseWorksOnStays) {
  const std::string path = WriteReport("a_1", 100 * kDay);
  const auto pending = store_.Pending();
  const int other = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(other, LOCK_EX), 0);
  EXPECT_FALSE(store_.Delete(pending.at(0)));
  EXPECT_EQ(store_.KeepAtMost(), 0U);
  close(other);
  EXPECT_EQ(store_.KeepAtMost(), 1U);
}

TEST_F(CrashReportStoreTest, ByDefaultThirtyReportsOfNinetyDaysAreKept) {
  for (int i = 0; i < 40; ++i) WriteReport("a_" + std::to_string(100 + i), 1000 - i);
  const std::string old = WriteReport("b_1", 91 * kDay);
  EXPECT_EQ(store_.KeepAtMost(), 11U);
  const Strings kept = PendingPaths();
  ASSERT_EQ(kept.size(), 30U);
  EXPECT_NE(kept[0].find("a_110"), std::string::npos);
  EXPECT_FALSE(oru_test::PathExists(old));
}

TEST_F(CrashReportStoreTest, BytesAreBoundedAndSentReportsGoFirst) {
  const std::string oldest = WriteReport("a_1", 30, 400);
  const std::string sent = WriteReport("a_2", 20, 400);
  const std::string newest = WriteReport("a_3", 10, 400);
  oru_test::WriteFile(Beside(newest, ".json"), std::string(100, '{'));
  ASSERT_TRUE(store_.MarkSent(store_.Pending().at(1)));
  ReportLimits limits;
  limits.bytes = 900;
  EXPECT_EQ(store_.KeepAtMost(limits), 1U);
  EXPECT_FALSE(oru_test::PathExists(sent));
  EXPECT_EQ(PendingPaths(), (Strings{oldest, newest}));
  limits.bytes = 899;
  EXPECT_EQ(store_.KeepAtMost(limits), 1U);
  EXPECT_EQ(PendingPaths(), Strings{newest});
}

TEST_F(CrashReportStoreTest, LeftoversOfKilledProcessesGoAfterADay) {
  const std::string folder = dump_dir_ + "/6.1.0";
  oru_test::MakeDirs(folder);
  oru_test::MakeDirs(dump_dir_ + "/outgoing.AAAAAA/log");
  oru_test::WriteFile(dump_dir_ + "/outgoing.AAAAAA/log/x", "x");
  const Strings leftovers = {"report.17.3.tmp", "Crash_a_1_Signal_2026-01-02-03-04-05.json",
                             "Crash_a_1_Signal_2026-01-02-03-04-05.sent"};
  for (const std::string& name : leftovers) oru_test::WriteFile(folder + "/" + name, "");
  oru_test::WriteFile(folder + "/other.json", "");
  MakeOld(folder + "/other.json", 2 * kDay);
  store_.KeepAtMost();
  EXPECT_EQ(oru_test::ListDir(folder).size(), 4U) << "a crash may be on its way";
  EXPECT_EQ(oru_test::ListDir(dump_dir_), Strings{"6.1.0"});
  for (const std::string& name : leftovers) MakeOld(folder + "/" + name, kDay + 60);
  store_.KeepAtMost();
  EXPECT_EQ(oru_test::ListDir(folder), Strings{"other.json"});
}

TEST_F(CrashReportStoreTest, OldRecordsGoAndTheNewestStay) {
  for (int i = 0; i < 5; ++i) RunAndVanish("app", "s" + std::to_string(i));
  const CrashSession running(dump_dir_, "app", "now", "", "");
  ReportLimits limits;
  limits.reports = 2;
  store_.KeepAtMost(limits);
  EXPECT_EQ(oru_test::ListDir(dump_dir_).size(), 3U);
  limits.reports = 0;
  store_.KeepAtMost(limits);
  EXPECT_EQ(oru_test::ListDir(dump_dir_), Strings{"Session_app_now.run"});
}

TEST_F(CrashReportStoreTest, GatheringCopiesWhatTheSessionHas) {
  const std::string log = dir_.Join("app.log");
  // With room that a crash has left unused.
  oru_test::WriteFile(log, "line\n" + std::string(100000, '\0'));
  oru_test::WriteFile(log + ".1", "older\n");
  oru_test::WriteFile(dir_.Join("trace.json"), "[]");
  const std::string path = WriteReport("app_s", 0);
  oru_test::WriteFile(Beside(path, ".json"), "{}\n");
  const CrashSession session(dump_dir_, "app", "s", log, dir_.Join("trace.json"));
  const std::string folder = dir_.Join("new/gathered");
  ASSERT_TRUE(store_.Gather(store_.Pending().at(0), folder));
  const std::string name = path.substr(path.rfind('/') + 1);
  EXPECT_EQ(
      oru_test::ListFilesRecursively(folder),
      (Strings{Beside(name, ".json"), name, "log/app.log", "log/app.log.1", "trace/trace.json"}));
  EXPECT_EQ(oru_test::ReadFile(folder + "/log/app.log"), "line\n");
  struct stat info {};
  ASSERT_EQ(stat((folder + "/" + name).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777U, 0600U);
  ASSERT_EQ(stat(folder.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777U, 0700U);
}

TEST_F(CrashReportStoreTest, ALogThatIsGoneDoesNotKeepAReportBack) {
  WriteReport("app_s", 0);
  const CrashSession session(dump_dir_, "app", "s", dir_.Join("gone.log"), "");
  EXPECT_TRUE(store_.Gather(store_.Pending().at(0), dir_.Join("gathered")));
  ASSERT_EQ(mkfifo(dir_.Join("gone.log").c_str(), 0600), 0);
  EXPECT_TRUE(store_.Gather(store_.Pending().at(0), dir_.Join("again")));
}

TEST_F(CrashReportStoreTest, ARunThatEndedWellDidNotCrash) {
  { const CrashSession session(dump_dir_, "app", "s", "", ""); }
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kEnded);
  EXPECT_EQ(store_.LastRunOf("app"), LastRun::kEnded);
  EXPECT_EQ(store_.LastRunOf("app", "other"), LastRun::kUnknown);
  EXPECT_EQ(store_.LastRunOf("ap"), LastRun::kUnknown);
}

TEST_F(CrashReportStoreTest, ARunThatLeftAReportCrashed) {
  RunAndVanish("my_app", "s_1");
  WriteReport("my_app_s_1", 0);
  EXPECT_EQ(store_.LastRunOf("my_app", "s_1"), LastRun::kCrashed);
  EXPECT_EQ(store_.LastRunOf("my_app"), LastRun::kCrashed);
}

TEST_F(CrashReportStoreTest, ARunThatWasKilledVanishedThoughAnEarlierOneCrashed) {
  WriteReport("app_s", 100);
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kCrashed) << "without a record";
  RunAndVanish("app", "s");
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kVanished);
}

TEST_F(CrashReportStoreTest, ASentReportStillTellsOfTheCrash) {
  RunAndVanish("app", "s");
  WriteReport("app_s", 0);
  ASSERT_TRUE(store_.MarkSent(store_.Pending().at(0)));
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kCrashed);
}

TEST_F(CrashReportStoreTest, ARunThatGoesOnIsRunningAndItsRecordIsNotTakenOver) {
  const CrashSession session(dump_dir_, "app", "s", "", "");
  EXPECT_TRUE(session.recorded());
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kRunning);
  const CrashSession second(dump_dir_, "app", "s", "", "");
  EXPECT_FALSE(second.recorded());
  const CrashSession other(dump_dir_, "app", "t", "", "");
  EXPECT_TRUE(other.recorded());
}

// Many that look at the same time see no run in each other, and a run that begins is recorded.
TEST_F(CrashReportStoreTest, LookingIsNotRunning) {
  RunAndVanish("app", "s");
  std::vector<pid_t> askers;
  for (int i = 0; i < 4; ++i) {
    const pid_t pid = fork();
    if (pid == 0) {
      for (int round = 0; round < 500; ++round) {
        if (store_.LastRunOf("app", "s") != LastRun::kVanished) _exit(1);
      }
      _exit(0);
    }
    askers.push_back(pid);
  }
  for (int i = 0; i < 100; ++i) {
    const CrashSession other(dump_dir_, "app", "t", "", "");
    EXPECT_TRUE(other.recorded());
    EXPECT_EQ(store_.LastRunOf("app", "t"), LastRun::kRunning);
  }
  for (const pid_t pid : askers) {
    int ending = -1;
    waitpid(pid, &ending, 0);
    EXPECT_EQ(ending, 0);
  }
}

TEST_F(CrashReportStoreTest, AForkedChildDoesNotEndTheSession) {
  auto session = std::make_unique<CrashSession>(dump_dir_, "app", "s", "", "");
  oru_test::RunInFork([&session] {
    session.reset();
    return 0;
  });
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kRunning);
  session.reset();
  EXPECT_EQ(store_.LastRunOf("app", "s"), LastRun::kEnded);
}

TEST_F(CrashReportStoreTest, IdsOfAnyBytesHaveARecord) {
  const std::string id = "a/../b\n%\xff";
  { const CrashSession session(dump_dir_, id, "", "", ""); }
  EXPECT_EQ(store_.LastRunOf(id), LastRun::kEnded);
  EXPECT_EQ(oru_test::ListDir(dump_dir_).size(), 1U);
}

// Many processes look after one folder while reports appear in it. Each report is worked on once.
TEST_F(CrashReportStoreTest, ManyProcessesAtOnceKeepTheLimits) {
  std::vector<pid_t> keepers;
  for (int i = 0; i < 4; ++i) {
    const pid_t pid = fork();
    if (pid == 0) {
      ReportLimits limits;
      limits.reports = 5;
      for (int round = 0; round < 200; ++round) {
        store_.KeepAtMost(limits);
        for (const PendingReport& report : store_.Pending()) store_.Delete(report);
      }
      _exit(0);
    }
    keepers.push_back(pid);
  }
  for (int i = 0; i < 300; ++i) WriteReport("a_" + std::to_string(i), 0);
  for (const pid_t pid : keepers) {
    int ending = -1;
    waitpid(pid, &ending, 0);
    EXPECT_EQ(ending, 0);
  }
  store_.KeepAtMost({5, 1000000, 90});
  EXPECT_LE(store_.Pending().size(), 5U);
}

class HostCrashStoreTest : public CrashReportStoreTest {
 protected:
  std::string WriteHostCrash(const std::string& ids, int age_s) {
    const std::string folder = dump_dir_ + "/6.1.0";
    oru_test::MakeDirs(folder);
    const std::string path = folder + "/HostCrash_" + ids + "_Signal_2026-01-02-03-04-05.json";
    oru_test::WriteFile(path, "{}\n");
    MakeOld(path, age_s);
    return path;
  }
};

TEST_F(HostCrashStoreTest, IsCountedAndNamedButNoPendingReport) {
  const std::string path = WriteHostCrash("app_s1", 100);
  WriteReport("app_s2", 50);
  const CrashReportStore store(dump_dir_);
  ASSERT_EQ(store.Pending().size(), 1U);
  EXPECT_EQ(store.Pending()[0].session_id, "s2");
  const auto crashes = store.HostCrashes();
  ASSERT_EQ(crashes.size(), 1U);
  EXPECT_EQ(crashes[0].path, "");
  EXPECT_EQ(crashes[0].companion_path, path);
  EXPECT_EQ(crashes[0].app_id, "app");
  EXPECT_EQ(crashes[0].session_id, "s1");
  EXPECT_EQ(crashes[0].kind, "Signal");
  EXPECT_EQ(crashes[0].sdk_version, "6.1.0");
  EXPECT_EQ(crashes[0].bytes, 3U);
  EXPECT_FALSE(store.MarkSent(crashes[0]));
}

TEST_F(HostCrashStoreTest, IsNotTheReportOfALastRun) {
  WriteHostCrash("app_s1", 100);
  EXPECT_EQ(CrashReportStore(dump_dir_).LastRunOf("app"), LastRun::kUnknown);
}

TEST_F(HostCrashStoreTest, IsGatheredAndDeletedAlone) {
  const std::string path = WriteHostCrash("app_s1", 100);
  const std::string report = WriteReport("app_s1", 100);
  const CrashReportStore store(dump_dir_);
  const auto crashes = store.HostCrashes();
  ASSERT_EQ(crashes.size(), 1U);
  ASSERT_TRUE(store.Gather(crashes[0], dir_.Join("gathered")));
  EXPECT_EQ(oru_test::ListDir(dir_.Join("gathered")).size(), 1U);
  EXPECT_TRUE(store.Delete(crashes[0]));
  EXPECT_FALSE(oru_test::PathExists(path));
  EXPECT_TRUE(oru_test::PathExists(report));
  EXPECT_TRUE(store.Delete(crashes[0]));
}

TEST_F(HostCrashStoreTest, CountsForTheLimits) {
  const std::string old = WriteHostCrash("app_old", 1000);
  const std::string report = WriteReport("app_s1", 500);
  const std::string fresh = WriteHostCrash("app_new", 100);
  ReportLimits limits;
  limits.reports = 2;
  EXPECT_EQ(CrashReportStore(dump_dir_).KeepAtMost(limits), 1U);
  EXPECT_FALSE(oru_test::PathExists(old));
  EXPECT_TRUE(oru_test::PathExists(report));
  EXPECT_TRUE(oru_test::PathExists(fresh));
}

TEST_F(HostCrashStoreTest, OfYesterdayIsNoLeftover) {
  const std::string path = WriteHostCrash("app_s1", 3 * 24 * 60 * 60);
  CrashReportStore(dump_dir_).KeepAtMost();
  EXPECT_TRUE(oru_test::PathExists(path));
}

}  // namespace
}  // namespace CrashHandler
