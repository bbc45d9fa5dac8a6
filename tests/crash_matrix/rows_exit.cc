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
      Fault("ExitsWhileThePredecessorTakesItsTime"),
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
      Saying({"ForkedChildExitsDuringACrash", "ForkedChildExitsDuringACrash", ByExit(8), 0},
             kSaysFault),
      // Its own exit is the host's will.
      Saying({"CallbackExits", "CallbackExits", kOwn, 0}, kSaysFault),
      Saying({"ExitsWithoutACrash", "ExitsWithoutACrash", kOwn, 0}, kSaysInstalled),
  };
}

}  // namespace crash_test
