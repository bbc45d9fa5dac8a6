// A crash whose other threads leave it next to no processor.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/crash_matrix/crash_scenario_test.h"
#include "tests/crash_matrix/scenario.h"

namespace {

using CrashBusyTest = oru_test::CrashScenarioTest;

// They would have it a hundred times longer than the crash's own bounds.
TEST_F(CrashBusyTest, BesideFourHundredBusyThreadsTheReportIsMadeInTime) {
  const oru_test::ChildResult result = Run("FaultBesideBusyThreads", oru_test::kRealDeadlineMs);
  EXPECT_EQ(SIGSEGV, result.signal) << result.Ending();
  ExpectOneWholeReport();
}

TEST_F(CrashBusyTest, AProcessThatGoesOnHasItsThreadsAsTheyWere) {
  for (const char* scenario :
       {"ThreadsRunOnAfterASignalThatWasSent", "ThreadsRunOnAfterAFailedAllocation"}) {
    const oru_test::ChildResult result = Run(scenario, oru_test::kRealDeadlineMs);
    EXPECT_EQ(crash_test::kScenarioReturned, result.exit_code) << scenario << result.Ending();
  }
}

}  // namespace
