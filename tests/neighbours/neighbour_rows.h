// What a process with crash capture and a neighbour leaves.
#ifndef TESTS_NEIGHBOURS_NEIGHBOUR_ROWS_H_
#define TESTS_NEIGHBOURS_NEIGHBOUR_ROWS_H_

#include <string>
#include <vector>

namespace neighbours {

enum class Order { kBefore, kAfter };  // the neighbour's installation, seen from ours

struct Row {
  const char* neighbour;
  Order order;
  const char* deed;
  // How the process ends: by a signal, or with a status where it is 0.
  int signal;
  int exit_code;
  int reports;
  // A line of standard error; null: nothing is asked.
  const char* said;
  // Why it is so, where it is not what one would wish.
  const char* reason;
};

// Rows with the stand-ins.
const std::vector<Row>& Rows();

// Rows with real reporters.
const std::vector<Row>& RealRows();

// "SdkCrashWithRaisesAgainBefore".
std::string NameOf(const Row& row);

}  // namespace neighbours

#endif  // TESTS_NEIGHBOURS_NEIGHBOUR_ROWS_H_
