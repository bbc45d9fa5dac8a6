// Starts crash_scenario_child.
#ifndef TESTS_CRASH_MATRIX_SCENARIO_PROCESS_H_
#define TESTS_CRASH_MATRIX_SCENARIO_PROCESS_H_

#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace crash_test {

// The time that a report has before it is rescued; the process ends two seconds later at most.
constexpr int kShortDeadlineMs = 400;
constexpr int kRealDeadlineMs = 6000;

// The program's path.
const char* ScenarioChild();

oru_test::ChildResult RunScenario(const std::string& scenario, const std::string& home,
                                  const std::string& dump_dir, int deadline_ms,
                                  const std::vector<std::string>& options = {});

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_SCENARIO_PROCESS_H_
