#include "tests/crash_matrix/matrix_table.h"

#include <cstdio>

namespace crash_test {

void PrintTable(const std::vector<TableLine>& lines) {
  printf("\n%-58s %6s %6s %10s\n", "row", "runs", "wrong", "slowest");
  int runs = 0;
  int wrong = 0;
  for (const TableLine& line : lines) {
    printf("%-58s %6d %6d %8.2f s\n", line.name.c_str(), line.result.repetitions,
           line.result.Wrong(), line.result.slowest_s);
    for (const std::string& note : line.result.notes) printf("  %s\n", note.c_str());
    for (const auto& [what, count] : line.result.wrong) printf("  %s (%d)\n", what.c_str(), count);
    runs += line.result.repetitions;
    wrong += line.result.Wrong();
  }
  printf("%zu rows, %d processes, %d wrong\n", lines.size(), runs, wrong);
}

}  // namespace crash_test
