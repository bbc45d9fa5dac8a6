// Crash capture and another who lives on signals in one process: each row of the table once.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/neighbours/neighbour_run.h"
#include "tests/neighbours/runtime_rows.h"

namespace neighbours {

namespace {

class NeighboursTest : public testing::TestWithParam<Row> {};
TEST_P(NeighboursTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, NeighboursTest, testing::ValuesIn(Rows()), RowName);

std::set<std::string> NamesOfAllRows() {
  std::set<std::string> names;
  for (const Row& row : Rows()) names.insert(NameOf(row));
  for (const Row& row : RealRows()) names.insert(NameOf(row));
  for (const RuntimeRow& row : RuntimeRows()) names.insert(NameOf(row));
  return names;
}

// The words between backquotes from "Rows:" to the end of the paragraph, of each paragraph.
std::set<std::string> RowsNamedIn(const std::string& text) {
  std::set<std::string> names;
  for (size_t at = text.find("\nRows:"); at != std::string::npos; at = text.find("\nRows:", at)) {
    const size_t end = text.find("\n\n", at);
    for (at = text.find('`', at); at < end; at = text.find('`', at)) {
      const size_t close = text.find('`', at + 1);
      names.insert(text.substr(at + 1, close - at - 1));
      at = close + 1;
    }
    if (end == std::string::npos) break;
    at = end;
  }
  return names;
}

TEST(BesideOthersTest, EveryRowThatTheDocumentNamesIsOneThatIsRun) {
  const std::set<std::string> all = NamesOfAllRows();
  const std::set<std::string> named = RowsNamedIn(oru_test::ReadFile(DOCUMENT));
  EXPECT_GT(named.size(), 60U);
  for (const std::string& name : named) EXPECT_EQ(1U, all.count(name)) << name;
}

// A mark of no row would be a reason for nothing.
TEST(RuntimeRowsTest, EveryMarkIsOfARow) {
  size_t marked = 0;
  for (const RuntimeRow& row : RuntimeRows()) marked += row.reason != nullptr ? 1 : 0;
  EXPECT_EQ(MarkedRuntimeRows(), marked);
}

}  // namespace
}  // namespace neighbours
