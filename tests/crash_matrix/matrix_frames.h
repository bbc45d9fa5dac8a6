// The frames of a crashed thread: a report has them in a section of its own and in the thread's
// block among all threads.
#ifndef TESTS_CRASH_MATRIX_MATRIX_FRAMES_H_
#define TESTS_CRASH_MATRIX_MATRIX_FRAMES_H_

#include <string>

#include "tests/crash_matrix/matrix_rows.h"
#include "tests/support/crash_report_parser.h"

namespace crash_test {

// What is wrong; empty when nothing is.
std::string CheckFrames(const Row& row, const oru_test::CrashReportText& report);

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_FRAMES_H_
