#include "tests/support/crash_report_parser.h"

#include <gtest/gtest.h>

namespace oru_test {
namespace {

const char kHeader[] =
    "Harware Model:     x86_64\n"
    "Process:           \n"
    "Path:              /d\n"
    "Code Type:         x86_64\n"
    "Date/Time:         2024-03-05 07:08:09 123\n"
    "Crash Thread:      12\n"
    "\n";
const char kFrames[] = "Crash Thread Backtrace:\na\nb\n\n";
const char kThreads[] =
    "All Thread Backtrace:\n"
    "Thread 12 :\nx\n\n"
    "Fail to get frame pointerThread 13 worker: 1:\ny\nz\n\n"
    "\n";
const char kImages[] =
    "Binary Images:\n"
    "    0x7f0000000000 -     0x7f0000000fff  lib x.so arm64  <0011> /l/lib x.so\n"
    "\n";
const char kInfo[] = "UserCustomInfo:\nhello\n";

std::string Good() { return std::string(kHeader) + kFrames + kThreads + kImages + kInfo; }

TEST(CrashReportParserTest, ReadsEverySection) {
  const CrashReportText report = ParseCrashReport(Good());
  EXPECT_EQ(report.error, "");
  EXPECT_EQ(report.path, "/d");
  EXPECT_EQ(report.crash_thread, 12);
  EXPECT_FALSE(report.exception.has_value());
  EXPECT_EQ(report.crash_frames, (std::vector<std::string>{"a", "b"}));
  ASSERT_EQ(report.threads.size(), 2U);
  EXPECT_EQ(report.FindThread("worker: 1")->frames, (std::vector<std::string>{"y", "z"}));
  EXPECT_EQ(report.thread_failures, std::vector<std::string>{"Fail to get frame pointer"});
  ASSERT_EQ(report.images.size(), 1U);
  EXPECT_EQ(report.images[0].name, "lib x.so");
  EXPECT_EQ(report.images[0].end, 0x7f0000000fffU);
  EXPECT_EQ(report.custom_info, "hello");
}

TEST(CrashReportParserTest, ReadsAnException) {
  const std::string section =
      "Application Specific Information:\n"
      "*** Terminating app due to uncaught exception 'N', reason: 'R'\n\n";
  const CrashReportText report =
      ParseCrashReport(kHeader + section + kFrames + kThreads + kImages + kInfo);
  EXPECT_EQ(report.error, "");
  EXPECT_EQ(report.exception, "*** Terminating app due to uncaught exception 'N', reason: 'R'");
}

TEST(CrashReportParserTest, RefusesAnythingOutOfPlace) {
  std::string text = Good();
  EXPECT_NE(ParseCrashReport(text.substr(0, text.size() - 1)).error, "");
  EXPECT_NE(ParseCrashReport(text.substr(0, text.size() / 2)).error, "");
  EXPECT_NE(ParseCrashReport("").error, "");
  text.replace(text.find("Process:  "), 10, "Process: ");
  EXPECT_NE(ParseCrashReport(text).error, "");
  text = Good();
  text.replace(text.find("    0x7f"), 4, "   ");
  EXPECT_NE(ParseCrashReport(text).error, "");
  EXPECT_NE(ParseCrashReport(std::string(kHeader) + kFrames + kImages + kThreads + kInfo).error,
            "");
}

}  // namespace
}  // namespace oru_test
