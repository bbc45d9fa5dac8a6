// Every row of the crash matrix: once, or twenty times in long mode; the whole as a table.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/crash_matrix/matrix_rows.h"
#include "tests/crash_matrix/matrix_run.h"
#include "tests/crash_matrix/matrix_table.h"

namespace crash_test {

// The test's parameter in messages.
void PrintTo(const Row& row, std::ostream* out) { *out << row.scenario; }

namespace {

constexpr int kLongRepetitions = 20;

bool LongMode() { return getenv("ORU_TEST_LONG") != nullptr; }

std::vector<TableLine>& Table() {
  static auto* const table = new std::vector<TableLine>;
  return *table;
}

// Once without and once with companions beside the reports.
class CrashMatrixTest : public testing::TestWithParam<Row> {
 protected:
  static void ExpectThatItHolds(bool companions) {
    const RunOptions options = {LongMode() ? kLongRepetitions : 1, LongMode(), companions};
    const RowResult result = RunRow(GetParam(), options);
    Table().push_back({std::string(GetParam().name) + (companions ? " +" : ""), result});
    for (const auto& [what, count] : result.wrong) {
      ADD_FAILURE() << what << ", " << count << " times";
    }
  }
};

TEST_P(CrashMatrixTest, Holds) { ExpectThatItHolds(false); }

TEST_P(CrashMatrixTest, HoldsWithCompanions) { ExpectThatItHolds(true); }

// No row passes without the handlers: each expects a frame of its reports, or what they log.
TEST(CrashMatrixRowsTest, EveryRowExpectsAFrameOrALine) {
  for (const Row& row : MatrixRows()) {
    const bool frame = !row.frames.empty() || !row.section_frames.empty();
    EXPECT_TRUE(row.reports > 0 ? frame : !row.said.empty()) << row.name;
  }
}

std::string RowName(const testing::TestParamInfo<Row>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Rows, CrashMatrixTest, testing::ValuesIn(MatrixRows()), RowName);

// After more than one row: all of them in one table.
class TablePrinter : public testing::EmptyTestEventListener {
 public:
  void OnTestProgramEnd(const testing::UnitTest& /*all*/) override {
    if (Table().size() > 1) PrintTable(Table());
  }
};

const bool kPrints = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new TablePrinter);
  return true;
}();

}  // namespace
}  // namespace crash_test
