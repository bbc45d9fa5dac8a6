// Other processes, and libraries that are being loaded.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {}  // namespace

std::vector<Row> ProcessRows() {
  return {
      {"CrashInAForkedChild", "CrashInForkedChild", ByExit(8), 1, {"WriteToNull"}},
      {"CrashInAChildForkedByAWorker",
       "CrashInForkedChild",
       ByExit(8),
       1,
       {"WriteToNull"},
       {"--worker"}},
      {"HungForkedChild",
       "HungForkedChildEndsToo",
       ByExit(8),
       1,
       {"WriteToNull"},
       {},
       kWaitsForDeadline},
      {"CrashBesideAForkedChild", "CrashBesideAForkedChild", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      {"CrashInParentAndForkedChild",
       "CrashInParentAndForkedChild",
       BySignal(SIGFPE),
       2,
       {"CrashInParentAndForkedChild"}},
      {"TenForkedChildrenCrash", "TenForkedChildrenCrash", ByExit(8), 10, {"WriteToNull"}},
      {"CrashInAChildForkedDuringACrash",
       "CrashInAChildForkedDuringACrash",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
      {"FaultAfterStartingProcesses",
       "FaultAfterStartingProcesses",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
      // Once: the other program does not install the handlers.
      Saying({"BecomesAnotherProgram", "BecomesAnotherProgram", BySignal(SIGSEGV), 0},
             kSaysInstalled),
      Saying({"CallbackBecomesAnotherProgram", "CallbackBecomesAnotherProgram", ByExit(11), 0},
             kSaysFault),
      Saying({"CallbackBecomesALongProgram",
              "CallbackBecomesALongProgram",
              ByExit(11),
              0,
              {},
              {},
              kWaitsForDeadline},
             kSaysFault),
      {"FaultHoldingTheLoader", "FaultHoldingTheLoader", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      {"FaultWhileAnotherHoldsTheLoader",
       "FaultWhileAnotherHoldsTheLoader",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
  };
}

}  // namespace crash_test
