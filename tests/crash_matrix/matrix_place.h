// What stands where a row's dump directory should be.
#ifndef TESTS_CRASH_MATRIX_MATRIX_PLACE_H_
#define TESTS_CRASH_MATRIX_MATRIX_PLACE_H_

#include <string>

#include "tests/crash_matrix/matrix_rows.h"

namespace crash_test {

// The path that the process is told.
std::string DumpDir(Place place, const std::string& home);
// False when it cannot be made.
bool PreparePlace(Place place, const std::string& home);

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_PLACE_H_
