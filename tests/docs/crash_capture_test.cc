// The documents' app with crash capture, whose log sink and callback write to a pipe that nobody
// reads any more.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::TempDir;

// When a stuck report is rescued and the process ended.
constexpr double kRescue = 6;

// Is gone before the crash, or at some moment of it.
struct Reader {
  const char* name;
  const char* command;
};

void PrintTo(const Reader& reader, std::ostream* out) { *out << reader.command; }

class BrokenPipeTest : public testing::TestWithParam<Reader> {};

TEST_P(BrokenPipeTest, TheCrashIsReportedAtOnceAndEndsTheAppByItsSignal) {
  const TempDir dir;
  const std::string pipeline = std::string("\"$0\" \"$1\" crash 2>&1 | ") + GetParam().command;
  const ChildResult shell = oru_test::RunChild(
      {"/bin/bash", "-o", "pipefail", "-c", pipeline, CRASH_CAPTURE, dir.Join("crashes")});
  EXPECT_EQ(128 + SIGSEGV, shell.exit_code) << shell.Ending() << shell.err;
  EXPECT_LT(shell.wall_s, kRescue);
  EXPECT_LE(std::count(shell.out.begin(), shell.out.end(), '\n'), 1) << shell.out;

  const std::vector<std::string> reports = oru_test::ListFilesRecursively(dir.Join("crashes"));
  ASSERT_EQ(1U, reports.size());
  const auto report =
      oru_test::ParseCrashReport(oru_test::ReadFile(dir.Join("crashes/" + reports[0])));
  EXPECT_EQ("", report.error);
  EXPECT_TRUE(oru_test::CrashReportText::AnyContains(report.crash_frames, "OruRTCExampleJoin"));
}

INSTANTIATE_TEST_SUITE_P(Readers, BrokenPipeTest,
                         testing::Values(Reader{"OfOneLine", "head -1"},
                                         Reader{"OfFiveLines", "head -5 >/dev/null"},
                                         Reader{"OfNothing", "true"},
                                         Reader{"ThatCloses", "exec <&-"}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
