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
enum class Place {
  kReady,
  kMissing,
  kMissingTwoLevels,
  kFile,
  // A directory without the permission to write.
  kReadOnly,
  kLinkToDirectory,
  kDanglingLink,
  // A directory with a file where the SDK version's should be.
  kVersionIsFile,
  // The same with a link to another directory.
  kVersionIsLink,
  // "dumps", below the working directory, which is the home.
  kRelative,
  // Below a file system that lets nobody make a directory.
  kImpossible,
};

enum Trait : unsigned {
  kOrdinary = 0,
  // The bound on time ends it; outside long mode the bound is made short.
  kWaitsForDeadline = 1,
  // A sanitizer's allocator, stack frames or interceptors stand in the way.
  kNotUnderSanitizers = 2,
  // The room there is, for bytes or in a name, is enough for a report and not for its companion.
  kRoomForAReportOnly = 4,
  // No file can be opened beside the one that is written: a companion has no threads.
  kOneDescriptor = 8,
};

struct Row {
  // The test's name.
  const char* name;
  const char* scenario;
  Ending ending;
  int reports = 1;
  // Of the crashed thread, in both sections of a report that have its frames. Words with blanks
  // between them: all words of each must be in one line of the thread's block.
  std::vector<std::string> frames = {};
  // For the process; see scenario_child.cc.
  std::vector<std::string> options = {};
  unsigned traits = kOrdinary;
  Place place = Place::kMissing;
  // What a report's path below the home starts with.
  std::string path = {};
  // Each must be in a report's text.
  std::vector<std::string> texts = {};
  // Each must be one line of standard error, once. Where no report is left, they tell that it was
  // the handlers' doing.
  std::vector<std::string> said = {};
  // Where a frame is in one of the sections only, or in both at different addresses: words of a
  // line of the thread's block, and of the crash thread's section.
  std::vector<std::string> block_frames = {};
  std::vector<std::string> section_frames = {};
  // A report has at least so many readable threads and images.
  size_t threads = 1;
  size_t images = 1;
  // And at most so many threads that cannot be read.
  size_t unreadable = 0;
};

// All rows of this build, in the table's order.
const std::vector<Row>& MatrixRows();

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_ROWS_H_
