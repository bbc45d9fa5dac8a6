// Crashes while a lock is held.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

// The lock does not matter: the report is an ordinary one.
Row Fault(const char* name, std::vector<std::string> frames = {"WriteToNull"}) {
  Row row{name, name, BySignal(SIGSEGV), 1, std::move(frames)};
  row.said = {kSaysFinished};
  return row;
}

Row WithoutLog(Row row) {
  row.said = {};
  return row;
}

// The report waits for the lock until it is rescued.
Row WaitsForDeadline(Row row) {
  row.traits = kWaitsForDeadline;
  return WithoutLog(std::move(row));
}

}  // namespace

std::vector<Row> LockRows() {
  return {
      Fault("FaultHoldingStdio"),
      Fault("FaultWhileAnotherHoldsStdio"),
      Fault("FaultWhileAnotherHoldsTheConsole"),
      Fault("FaultInPrintf", {"printf", "FaultInPrintf"}),
      Fault("FaultWalkingLibraries", {"WriteToNull", "FaultAtLibrary", "FaultWalkingLibraries"}),
      Fault("FaultWhileAnotherWalksLibraries"),
      Fault("FaultInAnExitHandler", {"WriteToNull", "exit"}),
      // The module's own.
      Fault("FaultInTheDirectorySetter", {"SetCrashDumpDirPath", "FaultInTheDirectorySetter"}),
      Fault("FaultInTheIdentitySetter", {"SetTraceInfo", "FaultInTheIdentitySetter"}),
      Fault("FaultBesideAFaultInTheDirectorySetter"),
      Fault("FaultWhileAnotherSetsTheIdentity"),
      Fault("FaultWhileAnotherSetsTheDirectory"),
      WithoutLog(Fault("FaultWhileAnotherGetsTheDirectory")),
      // The Objective-C runtime's.
      Fault("FaultInInitialize", {"WriteToNull", "MatrixLazy", "FaultInInitialize"}),
      Fault("FaultInLoad", {"WriteToNull", "MatrixLoaded", "FaultInLoad"}),
      Fault("FaultHoldingAnObjectsLock"),
      // GNU's runtime takes its lock for every new object.
      WaitsForDeadline(Fault("FaultWhileAnotherIsInInitialize")),
      // The report's name has the local time.
      WaitsForDeadline(Fault("FaultInLocalTime", {"FaultInLocalTime"})),
  };
}

}  // namespace crash_test
