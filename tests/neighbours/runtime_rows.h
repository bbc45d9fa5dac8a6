// What a program of another runtime with crash capture leaves.
#ifndef TESTS_NEIGHBOURS_RUNTIME_ROWS_H_
#define TESTS_NEIGHBOURS_RUNTIME_ROWS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tests/neighbours/neighbour_rows.h"

namespace neighbours {

// Ends as the same program does without crash capture.
constexpr int kAsAlone = 0;
// Now so, now otherwise.
constexpr int kAnyhow = -1;

struct RuntimeRow {
  const char* runtime;
  // kBefore: the runtime runs already when crash capture is installed, as a library of its program.
  // kAfter: crash capture is preloaded and installed before the runtime begins.
  Order order;
  // Words of runtimes/shim.cc.
  const char* steps;
  // kAsAlone, kAnyhow, or the signal that ends the program.
  int ending;
  int reports;
  // Why it is so, where it is not what one would wish.
  const char* reason;
};

// Every runtime in both orders with every deed.
const std::vector<RuntimeRow>& RuntimeRows();

// How many of them have a reason: each of the list of these is one of the rows.
size_t MarkedRuntimeRows();

// "JvmBeforeFrontBenignCrash".
std::string NameOf(const RuntimeRow& row);

}  // namespace neighbours

#endif  // TESTS_NEIGHBOURS_RUNTIME_ROWS_H_
