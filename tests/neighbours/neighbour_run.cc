#include "tests/neighbours/neighbour_run.h"

#include <algorithm>

#include "tests/support/crash_report_parser.h"

namespace neighbours {
namespace {

using oru_test::ChildResult;

constexpr size_t kThreads = 2;

void ExpectReport(const std::string& text, size_t threads) {
  const oru_test::CrashReportText report = oru_test::ParseCrashReport(text);
  EXPECT_EQ("", report.error);
  EXPECT_TRUE(oru_test::CrashReportText::AnyContains(report.crash_frames, "(OruRTC"));
  EXPECT_EQ(std::vector<std::string>{}, report.thread_failures);
  EXPECT_GE(report.threads.size(), threads);
}

}  // namespace

void PrintTo(const Row& row, std::ostream* out) {
  *out << (row.reason == nullptr ? "as without a neighbour" : row.reason);
}

std::string RowName(const testing::TestParamInfo<Row>& info) { return NameOf(info.param); }

oru_test::ChildOptions OptionsIn(const oru_test::TempDir& home) {
  oru_test::ChildOptions options;
  options.env["HOME"] = home.path();
  options.cwd = home.path();
  // A sanitizer leaves the signals and the stacks alone.
  options.env["ASAN_OPTIONS"] =
      "handle_segv=0:handle_abort=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:"
      "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0";
  return options;
}

void ExpectReports(const std::string& folder, int reports, size_t threads) {
  const auto files = oru_test::ListFilesRecursively(folder);
  EXPECT_EQ(static_cast<size_t>(reports), files.size());
  for (const std::string& name : files) {
    ExpectReport(oru_test::ReadFile(folder + "/" + name), threads);
  }
}

void ExpectRow(const Row& row) {
  const oru_test::TempDir home;
  const char* const order = row.order == Order::kBefore ? "before" : "after";
  const ChildResult result = oru_test::RunChild(
      {NEIGHBOUR_CHILD, row.neighbour, order, row.deed, home.Join("dumps")}, OptionsIn(home));
  if (row.signal != 0) {
    EXPECT_EQ(row.signal, result.signal) << result.Ending() << "\n" << result.err;
  } else {
    EXPECT_EQ(row.exit_code, result.exit_code) << result.Ending() << "\n" << result.err;
  }
  ExpectReports(home.path(), row.reports, kThreads);
  if (row.said == nullptr) return;
  const std::vector<std::string> lines = oru_test::SplitLines(result.err);
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(), row.said)) << result.err;
}

}  // namespace neighbours
