// The crash matrix: what goes wrong, and what a process leaves then.
#ifndef TESTS_CRASH_MATRIX_MATRIX_ROWS_H_
#define TESTS_CRASH_MATRIX_MATRIX_ROWS_H_

#include <string>
#include <vector>

namespace crash_test {

// How the process ends: by a signal, or with an exit status.
struct Ending {
  int signal;
  int exit_code;
};
constexpr Ending BySignal(int signal) { return {signal, -1}; }
constexpr Ending ByExit(int status) { return {0, status}; }

// What stands where the dump directory should be.
enum class Place { kReady, kMissing, kMissingTwoLevels, kFile };

enum Trait : unsigned {
  kOrdinary = 0,
  // The bound on time ends it; outside long mode the bound is made short.
  kWaitsForDeadline = 1,
  // A sanitizer's allocator, stack frames or interceptors stand in the way.
  kNotUnderSanitizers = 2,
};

struct Row {
  // The test's name.
  const char* name;
  const char* scenario;
  Ending ending;
  int reports = 1;
  // Each must be in a line of the crashed thread.
  std::vector<std::string> frames = {};
  // For the process; see scenario_child.cc.
  std::vector<std::string> options = {};
  unsigned traits = kOrdinary;
  Place place = Place::kMissing;
};

// All rows of this build, in the table's order.
const std::vector<Row>& MatrixRows();

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_ROWS_H_
