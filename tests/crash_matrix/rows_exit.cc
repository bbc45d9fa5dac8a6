// An exit on one thread while another one's crash is handled.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

// What the scenarios exit with.
constexpr Ending kOwn = ByExit(6);

Row Fault(const char* scenario, unsigned traits = kOrdinary) {
  return {scenario, scenario, BySignal(SIGSEGV), 1, {"WriteToNull"}, {}, traits};
}

}  // namespace

std::vector<Row> ExitRows() {
  return {
      Fault("ExitsDuringAReport"),
      Fault("ExitsDuringAStuckReport", kWaitsForDeadline),
      Fault("ExitsDuringAReportAfterUninstalling"),
      Fault("CrashBeginsDuringTheExit"),
      {"ExitsDuringACrashThatIsSurvived",
       "ExitsDuringACrashThatIsSurvived",
       kOwn,
       1,
       {"RaisePipe"}},
      {"ExitsAfterThePredecessorJumpedOut",
       "ExitsAfterThePredecessorJumpedOut",
       kOwn,
       1,
       {"WriteToNull"}},
      {"ForkedChildExitsDuringACrash", "ForkedChildExitsDuringACrash", ByExit(8), 0},
      // Its own exit is the host's will.
      {"CallbackExits", "CallbackExits", kOwn, 0},
      {"ExitsWithoutACrash", "ExitsWithoutACrash", kOwn, 0},
  };
}

}  // namespace crash_test
