// The rows with real reporters and runtimes; run by scripts/neighbours.
#include <gtest/gtest.h>

#include "tests/neighbours/neighbour_run.h"
#include "tests/neighbours/runtime_run.h"

namespace neighbours {
namespace {

class RealNeighboursTest : public testing::TestWithParam<Row> {};
TEST_P(RealNeighboursTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, RealNeighboursTest, testing::ValuesIn(RealRows()), RowName);

class RuntimesTest : public testing::TestWithParam<RuntimeRow> {};
TEST_P(RuntimesTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, RuntimesTest, testing::ValuesIn(RuntimeRows()),
                         [](const auto& info) { return NameOf(info.param); });

}  // namespace
}  // namespace neighbours
