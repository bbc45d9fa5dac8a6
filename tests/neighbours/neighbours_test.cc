// Crash capture and another who lives on signals in one process: each row of the table once. With
// ORU_NEIGHBOURS_TO_COME in the environment the rows that do not hold yet are run too.
#include <gtest/gtest.h>

#include "tests/neighbours/neighbour_run.h"

namespace neighbours {

namespace {

class NeighboursTest : public testing::TestWithParam<Row> {};
TEST_P(NeighboursTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, NeighboursTest, testing::ValuesIn(Rows()), RowName);

class NeighboursToComeTest : public testing::TestWithParam<Row> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(NeighboursToComeTest);
TEST_P(NeighboursToComeTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, NeighboursToComeTest, testing::ValuesIn(IfAsked(RowsToCome())),
                         RowName);

}  // namespace
}  // namespace neighbours
