#include "media_core/biz_engine/crash_handler/tools/crash_report_upload.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_session.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using Strings = std::vector<std::string>;

// A script stands for the command: it does what the test says, with the command's log lines.
class CrashReportUploadTest : public testing::Test {
 protected:
  CrashReportUploadTest() {
    oru_test::MakeDirs(dir_.Join("dumps/6.1.0"));
    oru_test::WriteFile(report_path_, "report");
    oru_test::WriteFile(dir_.Join("app.log"), "line\n");
    { const CrashSession session(dir_.Join("dumps"), "app", "s", dir_.Join("app.log"), ""); }
    command_.program = dir_.Join("varnook");
    command_.library_path = "/lib path";
    command_.access_key_id = "id";
    command_.access_key_secret = "se\ncret; touch $HOME '\"";
    command_.endpoint = "https://store.example";
    command_.bucket = "logs";
    command_.time_limit_s = 60;
    WillReturn("0");
  }

  void Script(const std::string& body) {
    oru_test::WriteFile(command_.program, "#!/bin/bash\n" + body);
    chmod(command_.program.c_str(), 0700);
  }

  // The line of the upload function's status behind those that come before it.
  void WillReturn(const std::string& status, const std::string& before = "") {
    Script("printf '%s\\0' \"$@\" >" + dir_.Join("arguments") +
           "\n"
           "echo \"x varnook[1:1] SAT:Arg 1: -akscrt - ${10}\" >&2\n"
           "echo \"varnook uploadLogPrivate return: 77 and the secret $SECRET\" >&2\n" +
           before + "\ncp -r \"${@: -1}\" " + dir_.Join("sent") +
           "\necho 'varnook HandleActionUploadLog delay 0 sec. ' >&2\n"
           "echo 'd varnook[1:1] varnook uploadLogPrivate return: " +
           status + "' >&2\nexit " + status + "\n");
  }

  CrashUploadOutcome Upload() {
    const auto pending = store_.Pending();
    EXPECT_EQ(pending.size(), 1U);
    return UploadCrashReport(store_, pending.at(0), command_);
  }

  // Nothing of a copy is left, whatever came of it.
  void TearDown() override {
    for (const std::string& name : oru_test::ListDir(dir_.Join("dumps"))) {
      EXPECT_NE(name.compare(0, 9, "outgoing."), 0) << name;
    }
  }

  oru_test::TempDir dir_;
  const std::string report_path_ =
      dir_.Join("dumps/6.1.0/Crash_app_s_Signal_2026-01-02-03-04-05.log");
  const CrashReportStore store_{dir_.Join("dumps")};
  CrashUploadCommand command_;
};

TEST_F(CrashReportUploadTest, AReportThatWasStoredIsSent) {
  const CrashUploadOutcome outcome = Upload();
  EXPECT_EQ(outcome.result, CrashUploadResult::kSent);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(store_.Pending().empty());
  EXPECT_TRUE(oru_test::PathExists(report_path_));
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("sent")),
            (Strings{"Crash_app_s_Signal_2026-01-02-03-04-05.log", "log/app.log"}));
}

TEST_F(CrashReportUploadTest, ArgumentsArriveAsTheyStandWithoutAShell) {
  Upload();
  Strings arguments;
  const std::string text = oru_test::ReadFile(dir_.Join("arguments"));
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\0', start);
    arguments.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  ASSERT_EQ(arguments.size(), 22U);
  arguments.pop_back();
  EXPECT_EQ(arguments, (Strings{"-action", "uploadLog",
                                "-libp",   "/lib path",
                                "-apid",   "app",
                                "-seid",   "s",
                                "-ver",    "6.1.0",
                                "-akid",   "id",
                                "-akscrt", command_.access_key_secret,
                                "-sectkn", "",
                                "-edpt",   "https://store.example",
                                "-bukt",   "logs",
                                "-logp"}));
}

TEST_F(CrashReportUploadTest, NoArgumentIsInTheOutcome) {
  const CrashUploadOutcome outcome = Upload();
  EXPECT_EQ(outcome.lines, (Strings{"varnook HandleActionUploadLog delay 0 sec. ",
                                    "d varnook[1:1] varnook uploadLogPrivate return: 0"}));
}

TEST_F(CrashReportUploadTest, AFailureLeavesTheReportPending) {
  WillReturn("-6");
  const CrashUploadOutcome outcome = Upload();
  EXPECT_EQ(outcome.result, CrashUploadResult::kFailed);
  EXPECT_EQ(outcome.status, -6);
  EXPECT_EQ(store_.Pending().size(), 1U);
}

TEST_F(CrashReportUploadTest, AnExitStatusOfZeroWithoutTheUploadIsNoSuccess) {
  Script("echo 'varnook HandleActionUploadLog delay 0 sec. ' >&2\necho missing >&2\nexit 0\n");
  const CrashUploadOutcome outcome = Upload();
  EXPECT_EQ(outcome.result, CrashUploadResult::kFailed);
  EXPECT_EQ(outcome.lines.back(), "missing");
  EXPECT_EQ(store_.Pending().size(), 1U);
}

TEST_F(CrashReportUploadTest, ACommandThatIsNotThereIsNotStarted) {
  command_.program = dir_.Join("gone");
  EXPECT_EQ(Upload().result, CrashUploadResult::kNotStarted);
  EXPECT_EQ(store_.Pending().size(), 1U);
}

TEST_F(CrashReportUploadTest, ACommandThatHangsIsEndedWithWhatItStarted) {
  Script("trap '' TERM\necho $$ >" + dir_.Join("pid") + "\nsleep 1000 &\necho $! >" +
         dir_.Join("child") + "\nwhile :; do sleep 1000; done\n");
  command_.time_limit_s = 1;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Upload().result, CrashUploadResult::kTimedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_NE(kill(atoi(oru_test::ReadFile(dir_.Join("pid")).c_str()), 0), 0);
  const std::string child =
      "/proc/" + oru_test::SplitLines(oru_test::ReadFile(dir_.Join("child")))[0];
  // Its new parent may not have looked yet.
  for (int i = 0; i < 2000 && oru_test::PathExists(child); ++i) {
    const std::string stat = oru_test::ReadFile(child + "/stat");
    if (stat.empty() || stat.find(") Z ") != std::string::npos) break;
    usleep(5000);
  }
  EXPECT_TRUE(!oru_test::PathExists(child) ||
              oru_test::ReadFile(child + "/stat").find(") Z ") != std::string::npos);
}

TEST_F(CrashReportUploadTest, TheCommandGetsNoDescriptorAndNoBlockedSignal) {
  constexpr int kExtra = 77;
  ASSERT_EQ(dup2(STDERR_FILENO, kExtra), kExtra);
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  Script(
      "echo /proc/$$/fd/* >" + dir_.Join("fds") +
      "\nwhile read -r line; do [[ $line != SigBlk* ]] || echo \"$line\"; done </proc/$$/status >" +
      dir_.Join("mask") + "\n");
  Upload();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(kExtra);
  const std::string descriptors = oru_test::ReadFile(dir_.Join("fds"));
  EXPECT_NE(descriptors.find("/fd/2 "), std::string::npos) << descriptors;
  EXPECT_EQ(descriptors.find("/fd/77"), std::string::npos) << descriptors;
  EXPECT_EQ(oru_test::ReadFile(dir_.Join("mask")), "SigBlk:\t0000000000000000\n");
}

TEST_F(CrashReportUploadTest, AProgramThatIgnoresItsChildrensEndsHearsOfTheResult) {
  struct sigaction before {};
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &before);
  EXPECT_EQ(Upload().result, CrashUploadResult::kSent);
  sigaction(SIGCHLD, &before, nullptr);
}

TEST_F(CrashReportUploadTest, AReportThatIsBeingSentIsNotSentTwice) {
  const auto pending = store_.Pending();
  // The command itself stands for a second program that finds the report.
  Script("exec 9<" + report_path_ + "\nflock -n 9 && echo free || echo busy >" + dir_.Join("lock") +
         "\necho 'varnook HandleActionUploadLog delay 0 sec. ' >&2\n"
         "echo 'varnook uploadLogPrivate return: 0' >&2\n");
  EXPECT_EQ(UploadCrashReport(store_, pending.at(0), command_).result, CrashUploadResult::kSent);
  EXPECT_EQ(oru_test::ReadFile(dir_.Join("lock")), "busy\n");
  EXPECT_EQ(UploadCrashReport(store_, pending.at(0), command_).result, CrashUploadResult::kBusy);
}

TEST_F(CrashReportUploadTest, ConsentIsAskedForAndKept) {
  const auto pending = store_.Pending();
  int asked = 0;
  const auto answer = [&](CrashConsent consent) {
    return UploadCrashReportWithConsent(store_, pending.at(0), command_,
                                        [&](const PendingReport& report) {
                                          ++asked;
                                          EXPECT_EQ(report.path, report_path_);
                                          return consent;
                                        })
        .result;
  };
  EXPECT_EQ(answer(CrashConsent::kNotNow), CrashUploadResult::kDeclined);
  EXPECT_EQ(store_.Pending().size(), 1U);
  EXPECT_FALSE(oru_test::PathExists(dir_.Join("sent")));
  EXPECT_EQ(answer(CrashConsent::kNever), CrashUploadResult::kDeclined);
  EXPECT_FALSE(oru_test::PathExists(report_path_));
  oru_test::WriteFile(report_path_, "report");
  EXPECT_EQ(answer(CrashConsent::kSend), CrashUploadResult::kSent);
  EXPECT_EQ(asked, 3);
}

}  // namespace
}  // namespace CrashHandler
