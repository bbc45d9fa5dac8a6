// Runs a row and expects what it says.
#ifndef TESTS_NEIGHBOURS_NEIGHBOUR_RUN_H_
#define TESTS_NEIGHBOURS_NEIGHBOUR_RUN_H_

#include <gtest/gtest.h>
#include <signal.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/neighbours/neighbour_rows.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace neighbours {

void PrintTo(const Row& row, std::ostream* out);
std::string RowName(const testing::TestParamInfo<Row>& info);

oru_test::ChildOptions OptionsIn(const oru_test::TempDir& home);

// So many reports in the folder and nothing else, each with the deed's frame and at least so many
// threads, all readable.
void ExpectReports(const std::string& folder, int reports, size_t threads);

void ExpectRow(const Row& row);

}  // namespace neighbours

#endif  // TESTS_NEIGHBOURS_NEIGHBOUR_RUN_H_
