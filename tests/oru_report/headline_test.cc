#include "oru_report/analysis/headline.h"

#include <gtest/gtest.h>

#include "oru_report/model/report_parser.h"
#include "tests/oru_report/sample.h"

namespace oru_report {
namespace {

Headline Of(const std::string& text, const std::string& name = "report (1).log",
            const std::string& folder = "Downloads") {
  Report report;
  std::string error;
  EXPECT_TRUE(ParseReport(text, &report, &error)) << error;
  Resolver resolver(report, nullptr);
  return MakeHeadline(name, folder, &resolver);
}

TEST(Headline, TellsAnExceptionsNameAndReason) {
  const Headline headline = Of(oru_report_test::kExceptionReport);
  EXPECT_EQ(headline.kind, "Exception");
  EXPECT_EQ(headline.exception_name, "Range");
  EXPECT_EQ(headline.reason, "beyond\nthe end");
  EXPECT_EQ(HeadlineText(headline).find("Exception 'Range' (beyond\nthe end) in -[Engine join:]"),
            0U);
}

TEST(Headline, OfARenamedFileTellsWhatTheReportItselfSays) {
  const Headline headline = Of(oru_report_test::kSignalReport);
  EXPECT_EQ(headline.kind, "Signal");
  EXPECT_EQ(headline.time, "2024-03-05 07:08:09");
  EXPECT_EQ(headline.process, "host");
  EXPECT_EQ(headline.version, "");
  EXPECT_EQ(headline.session, "");
}

TEST(Headline, TakesTheVersionFromTheFolder) {
  EXPECT_EQ(Of(oru_report_test::kSignalReport, "x", "6.1.0").version, "6.1.0");
  EXPECT_EQ(Of(oru_report_test::kSignalReport, "x", "v7-beta").version, "v7-beta");
  for (const char* folder : {"Downloads", "report-2024", "tmp32uz", "v", "version 3", ""}) {
    EXPECT_EQ(Of(oru_report_test::kSignalReport, "x", folder).version, "") << folder;
  }
}

TEST(Headline, NamesTheFirstFramesOfSdkAndApp) {
  const Headline headline = Of(oru_report_test::kSignalReport);
  EXPECT_EQ(headline.sdk_text, "OruRTC::Engine::join(int)");
  EXPECT_EQ(headline.app_text, "host + 0x1234");
  EXPECT_EQ(headline.sdk, 1U);
}

TEST(Headline, OfNamelessFramesTakesTheThreadBlocksNames) {
  std::string text = oru_report_test::kSignalReport;
  const std::string named = "(_ZN6OruRTC6Engine4joinEi+0x1c)";
  text.replace(text.find(named), named.size(), "(+0x1010)");
  EXPECT_EQ(Of(text).sdk_text, "OruRTC::Engine::join(int)");
}

TEST(Headline, SaysWhatEndedTheProgram) {
  std::string text = oru_report_test::kSignalReport;
  const std::string first = "/opt/app/host(+0x1234) [0x401234]\n";
  text.replace(text.find(first), first.size(),
               "/lib/my lib.so(abort+0x1) [0x7f1000000001]\n/lib/my lib.so(__assert_fail+0x1) "
               "[0x7f1000000002]\n");
  EXPECT_EQ(Of(text).cause, "a failed assertion");
}

TEST(Headline, TellsTheSystem) {
  const std::string text = oru_report_test::kSignalReport;
  const auto system_of = [&](const std::string& path) {
    std::string with = text;
    const std::string old = "/lib/my lib.so\n";
    return Of(with.replace(with.rfind(old), old.size(), path + "\n")).system;
  };
  EXPECT_EQ(system_of("/lib64/ld-linux-x86-64.so.2"), "Linux, x86_64");
  EXPECT_EQ(system_of("/usr/lib/dyld"), "macOS, x86_64");
  EXPECT_EQ(system_of("/opt/app/x"), "x86_64");
}

TEST(FrameMark, FollowsTheImagesPathWhereTheLineHasItsNameAlone) {
  std::string text = oru_report_test::kSignalReport;
  const std::string old = " /opt/app/host\n";
  text.replace(text.find(old), old.size(), " /opt/OruRTC/host\n");
  Report report;
  std::string error;
  ASSERT_TRUE(ParseReport(text, &report, &error));
  // "host    0x00401300 main + 64"
  EXPECT_EQ(MarkOf(report, *report.threads[0].frames[1], "main"), Mark::kSdk);
}

TEST(FrameMark, WithoutImagesFollowsThePathsOfTheCrashFrames) {
  const std::string text = oru_report_test::kSignalReport;
  Report report;
  std::string error;
  ASSERT_TRUE(ParseReport(text.substr(0, text.find("Binary Images:")), &report, &error));
  std::string marks;
  for (const Frame* frame : report.crash_frames) {
    marks += MarkLetter(MarkOf(report, *frame, frame->symbol()));
  }
  EXPECT_EQ(marks, "AS.");
  // The other threads' frames have no paths.
  EXPECT_EQ(MarkOf(report, *report.threads[0].frames[0], "__poll"), Mark::kUnknown);
}

TEST(FrameMark, FollowsTheFiltersRuleAndTheSystemsFolders) {
  EXPECT_TRUE(IsSystemPath("/usr/lib/x86_64-linux-gnu/libc.so.6"));
  EXPECT_TRUE(IsSystemPath("/System/Library/Frameworks/Foundation"));
  EXPECT_TRUE(IsSystemPath("linux-vdso.so.1"));
  EXPECT_FALSE(IsSystemPath("/usr/local/lib/libx.so"));
  EXPECT_FALSE(IsSystemPath("/opt/app/libx.so"));
  EXPECT_FALSE(IsSystemPath(""));
}

}  // namespace
}  // namespace oru_report
