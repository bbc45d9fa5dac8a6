// Starts crash_scenario_child and looks at what is left.
#ifndef TESTS_CRASH_MATRIX_CRASH_SCENARIO_TEST_H_
#define TESTS_CRASH_MATRIX_CRASH_SCENARIO_TEST_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/crash_matrix/scenario_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace oru_test {

using crash_test::kRealDeadlineMs;
using crash_test::kShortDeadlineMs;
// What the exception and signal handlers log when they are refused.
constexpr char kRefused[] = "2 DarwinCrashHandler::already had crash happend";

class CrashScenarioTest : public testing::Test {
 protected:
  ChildResult Run(const std::string& scenario, int deadline_ms = kShortDeadlineMs,
                  const std::vector<std::string>& options = {}) {
    return crash_test::RunScenario(scenario, dir_.path(), dir_.Join("dumps"), deadline_ms, options);
  }
  // Names of the files left behind, whole reports or not.
  std::vector<std::string> Files() { return ListFilesRecursively(dir_.Join("dumps")); }
  void ExpectOneWholeReport() {
    ASSERT_EQ(Files().size(), 1U);
    const auto report = ParseCrashReport(ReadFile(dir_.Join("dumps/" + Files()[0])));
    EXPECT_EQ(report.error, "");
  }
  static long Count(const ChildResult& result, const std::string& line) {
    const auto lines = SplitLines(result.err);
    return std::count(lines.begin(), lines.end(), line);
  }

  TempDir dir_;
};

}  // namespace oru_test

#endif  // TESTS_CRASH_MATRIX_CRASH_SCENARIO_TEST_H_
