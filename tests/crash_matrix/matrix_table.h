// Results of the crash matrix as a table.
#ifndef TESTS_CRASH_MATRIX_MATRIX_TABLE_H_
#define TESTS_CRASH_MATRIX_MATRIX_TABLE_H_

#include <string>
#include <vector>

#include "tests/crash_matrix/matrix_run.h"

namespace crash_test {

struct TableLine {
  std::string name;
  RowResult result;
};

// To standard output: a line a row, what was wrong below it, and the sums.
void PrintTable(const std::vector<TableLine>& lines);

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_TABLE_H_
