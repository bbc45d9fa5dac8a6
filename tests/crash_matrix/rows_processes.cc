// Other processes, and libraries that are being loaded.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {

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
      {"BecomesAnotherProgram", "BecomesAnotherProgram", BySignal(SIGSEGV), 0},
      {"CallbackBecomesAnotherProgram", "CallbackBecomesAnotherProgram", ByExit(11), 0},
      {"FaultHoldingTheLoader", "FaultHoldingTheLoader", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      // `backtrace_symbols` asks the dynamic linker, which waits for the other thread.
      {"FaultWhileAnotherHoldsTheLoader",
       "FaultWhileAnotherHoldsTheLoader",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"},
       {},
       kWaitsForDeadline},
  };
}

}  // namespace crash_test
