// Runs a program of another runtime and expects what its row says.
#ifndef TESTS_NEIGHBOURS_RUNTIME_RUN_H_
#define TESTS_NEIGHBOURS_RUNTIME_RUN_H_

#include <ostream>

#include "tests/neighbours/runtime_rows.h"

namespace neighbours {

void PrintTo(const RuntimeRow& row, std::ostream* out);

void ExpectRow(const RuntimeRow& row);

}  // namespace neighbours

#endif  // TESTS_NEIGHBOURS_RUNTIME_RUN_H_
