// Stand-ins of other crash reporters and of runtimes that live on signals: each does in a few lines
// what the real ones were seen to do, so that the ordinary tests can put them into one process with
// crash capture.
#ifndef TESTS_NEIGHBOURS_NEIGHBOURS_H_
#define TESTS_NEIGHBOURS_NEIGHBOURS_H_

#include <vector>

namespace neighbours {

struct Neighbour {
  const char* name;
  // Takes its signals; once a process. What it does later it says on standard error, one line each.
  void (*install)();
};

// What this build has of the real ones (scripts/neighbours); as a rule nothing.
std::vector<Neighbour> RealNeighbours();

// By name, stand-ins and real ones; null when there is none.
const Neighbour* Find(const char* name);

// A fault that the runtime with benign ones repairs: true when it did, and the program goes on.
bool RaiseBenignFault();

// Whether that fault is at this instruction. Async-signal-safe.
bool IsBenignInstruction(const void* instruction);

// A line on standard error; async-signal-safe.
void Say(const char* line);

}  // namespace neighbours

#endif  // TESTS_NEIGHBOURS_NEIGHBOURS_H_
