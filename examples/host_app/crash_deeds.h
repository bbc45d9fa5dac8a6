// Ways to crash, on request. Compiled into the sample SDK (where the crash filter finds them) and
// into the app itself (where it does not).
#ifndef EXAMPLES_HOST_APP_CRASH_DEEDS_H_
#define EXAMPLES_HOST_APP_CRASH_DEEDS_H_

#include <string>
#include <vector>

namespace host_app {

// The names that DoCrashDeed knows, in the order of the help text.
const std::vector<std::string>& CrashDeedNames();

// Does it. Returns where the process survives: "trap", "pipe" and "sys" raise signals that go on
// after their handler. `threads` is how many crash together in "many-threads". False for an unknown
// name.
bool DoCrashDeed(const std::string& name, int threads);

// Raises an Objective-C exception that nobody catches.
void RaiseException();

}  // namespace host_app

#endif  // EXAMPLES_HOST_APP_CRASH_DEEDS_H_
