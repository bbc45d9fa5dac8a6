// Crash capture and another who lives on signals in one process: each row of the table once. With
// ORU_NEIGHBOURS_TO_COME in the environment the rows that do not hold yet are run too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/neighbours/neighbour_rows.h"
#include "tests/support/child_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace neighbours {

void PrintTo(const Row& row, std::ostream* out) {
  *out << (row.reason == nullptr ? "as without a neighbour" : row.reason);
}

namespace {

using oru_test::ChildResult;

ChildResult Run(const Row& row, const oru_test::TempDir& home) {
  oru_test::ChildOptions options;
  options.env["HOME"] = home.path();
  options.cwd = home.path();
  // A sanitizer leaves the signals and the stacks alone.
  options.env["ASAN_OPTIONS"] =
      "handle_segv=0:handle_abort=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:"
      "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0";
  const char* const order = row.order == Order::kBefore ? "before" : "after";
  return oru_test::RunChild({NEIGHBOUR_CHILD, row.neighbour, order, row.deed, home.Join("dumps")},
                            options);
}

// The thread that waits is in it, readable.
void ExpectWholeReport(const std::string& text) {
  const oru_test::CrashReportText report = oru_test::ParseCrashReport(text);
  EXPECT_EQ("", report.error);
  EXPECT_TRUE(oru_test::CrashReportText::AnyContains(report.crash_frames, "OruRTCNeighbourDeed"));
  EXPECT_EQ(std::vector<std::string>{}, report.thread_failures);
  EXPECT_GE(report.threads.size(), 2U);
}

void ExpectRow(const Row& row) {
  const oru_test::TempDir home;
  const ChildResult result = Run(row, home);
  if (row.signal != 0) {
    EXPECT_EQ(row.signal, result.signal) << result.Ending() << "\n" << result.err;
  } else {
    EXPECT_EQ(row.exit_code, result.exit_code) << result.Ending() << "\n" << result.err;
  }
  const auto reports = oru_test::ListFilesRecursively(home.path());
  EXPECT_EQ(static_cast<size_t>(row.reports), reports.size());
  for (const std::string& name : reports) ExpectWholeReport(oru_test::ReadFile(home.Join(name)));
  if (row.said == nullptr) return;
  const std::vector<std::string> lines = oru_test::SplitLines(result.err);
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(), row.said)) << result.err;
}

std::string RowName(const testing::TestParamInfo<Row>& info) { return NameOf(info.param); }

class NeighboursTest : public testing::TestWithParam<Row> {};
TEST_P(NeighboursTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, NeighboursTest, testing::ValuesIn(Rows()), RowName);

std::vector<Row> RowsToComeIfAsked() {
  return getenv("ORU_NEIGHBOURS_TO_COME") == nullptr ? std::vector<Row>{} : RowsToCome();
}

class NeighboursToComeTest : public testing::TestWithParam<Row> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(NeighboursToComeTest);
TEST_P(NeighboursToComeTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, NeighboursToComeTest, testing::ValuesIn(RowsToComeIfAsked()),
                         RowName);

}  // namespace
}  // namespace neighbours
