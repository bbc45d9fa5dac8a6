// A crash beside a thread that the kernel cannot interrupt: its stack has no room for the signal's
// frame, and the process ends where it is asked.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/crash_matrix/crash_scenario_test.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using CrashCrampedTest = oru_test::CrashScenarioTest;

bool IsTemporary(const std::string& name) { return name.find(".tmp") != std::string::npos; }

// The temporary file of the report that was under way stays, as at every such end.
TEST_F(CrashCrampedTest, AReportThatIsRescuedBesideItIsThere) {
  const ChildResult result = Run("AbortBesideACrampedThreadAndTheCallbackHangs");
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  std::vector<std::string> files = Files();
  files.erase(std::remove_if(files.begin(), files.end(), IsTemporary), files.end());
  ASSERT_EQ(files.size(), 1U);
  const auto report =
      oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join("dumps/" + files[0])));
  EXPECT_EQ(report.error, "");
  EXPECT_TRUE(report.AnyContains(report.crash_frames, "AbortBesideACrampedThread"));
  EXPECT_GT(report.images.size(), 3U);
}

}  // namespace
