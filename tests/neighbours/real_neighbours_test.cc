// The rows with real reporters and runtimes; run by scripts/neighbours.
#include <gtest/gtest.h>

#include "tests/neighbours/neighbour_run.h"

namespace neighbours {
namespace {

class RealNeighboursTest : public testing::TestWithParam<Row> {};
TEST_P(RealNeighboursTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, RealNeighboursTest, testing::ValuesIn(RealRows()), RowName);

class RealNeighboursToComeTest : public testing::TestWithParam<Row> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealNeighboursToComeTest);
TEST_P(RealNeighboursToComeTest, Holds) { ExpectRow(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Rows, RealNeighboursToComeTest,
                         testing::ValuesIn(IfAsked(RealRowsToCome())), RowName);

class PythonTest : public testing::TestWithParam<Order> {};

// Its handler is a plain one, which is not called by who comes after it; as the later one it puts
// back what was there and lets the instruction fault again.
TEST_P(PythonTest, WithFaulthandlerACrashOfTheSdkIsReported) {
  const bool before = GetParam() == Order::kBefore;
  const std::string enable = "import faulthandler; faulthandler.enable()\n";
  const std::string install =
      "import ctypes, sys; sdk = ctypes.CDLL(sys.argv[1])\n"
      "sdk.InstallCrashCapture(sys.argv[2].encode())\n";
  const std::string program =
      (before ? enable + install : install + enable) + "sdk.OruRTCNeighbourDeed()\n";
  const oru_test::TempDir home;
  const oru_test::ChildResult result = oru_test::RunChild(
      {"/usr/bin/python3", "-c", program, NEIGHBOUR_SHIM, home.Join("dumps")}, OptionsIn(home));
  EXPECT_EQ(SIGSEGV, result.signal) << result.Ending() << "\n" << result.err;
  ExpectReports(home, 1, 1);
}

INSTANTIATE_TEST_SUITE_P(Both, PythonTest, testing::Values(Order::kBefore, Order::kAfter),
                         [](const testing::TestParamInfo<Order>& info) {
                           return info.param == Order::kBefore ? "SdkCrashWithPythonBefore"
                                                               : "SdkCrashWithPythonAfter";
                         });

}  // namespace
}  // namespace neighbours
