#include "media_core/biz_engine/crash_handler/tools/crash_report_upload.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "tests/crash_handler/crash_report_upload_fixture.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using Strings = std::vector<std::string>;

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
