// Starts crash_scenario_child and looks at what is left.
#ifndef TESTS_CRASH_HANDLER_FLOW_CRASH_SCENARIO_TEST_H_
#define TESTS_CRASH_HANDLER_FLOW_CRASH_SCENARIO_TEST_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace oru_test {

constexpr int kShortDeadlineMs = 400;
constexpr int kRealDeadlineMs = 8000;
// What the exception and signal handlers log when they are refused.
constexpr char kRefused[] = "2 DarwinCrashHandler::already had crash happend";

class CrashScenarioTest : public testing::Test {
 protected:
  ChildResult Run(const std::string& scenario, int deadline_ms = kShortDeadlineMs) {
    ChildOptions options;
    options.env["HOME"] = dir_.path();
    // The test's signals are the program's own; a sanitizer leaves them and the stacks alone.
    options.env["ASAN_OPTIONS"] =
        "handle_segv=0:handle_abort=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:"
        "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0:allocator_may_return_null=1";
    return RunChild(
        {CRASH_SCENARIO_CHILD, scenario, dir_.Join("dumps"), std::to_string(deadline_ms)}, options);
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

#endif  // TESTS_CRASH_HANDLER_FLOW_CRASH_SCENARIO_TEST_H_
