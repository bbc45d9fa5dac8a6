// Installing, uninstalling, destroying and making the handler once more.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

Row Fault(const char* scenario) {
  return {scenario, scenario, BySignal(SIGSEGV), 1, {"WriteToNull"}};
}

// No older handler is called: the one that was found was the default action.
Row FaultWithoutPredecessor(const char* scenario) {
  Row row = Fault(scenario);
  row.said = {"1 DarwinCrashHandler::report finish, old handler = 0"};
  return row;
}

// The older handler is the module's own, which refuses.
Row Refused(Row row) {
  row.said = {"2 DarwinCrashHandler::already had crash happend"};
  return row;
}

// A sanitizer's operator new never asks the new-handler.
Row FailedAllocation(const char* scenario, int reports) {
  Row row{scenario, scenario, ByExit(97), reports, {}, {}, kNotUnderSanitizers};
  row.path = "dumps/1.0/Crash_A_S_MemoryError_";
  row.said = {"bad_alloc"};
  return row;
}

// A handler destroyed with its settings reports with the defaults.
Row FaultWithDefaults(const char* scenario) {
  Row row = Fault(scenario);
  row.path = "Library/Caches/Oru_RTC_Crash/1.0.dev/Crash_Unknown-App_";
  return row;
}

}  // namespace

std::vector<Row> LifeCycleRows() {
  return {
      {"AfterUninstalling", "AfterUninstalling", BySignal(SIGSEGV), 0},
      {"AbortAfterUninstalling", "AbortAfterUninstalling", BySignal(SIGABRT), 0},
      FailedAllocation("FailedAllocationAfterUninstalling", 1),
      FailedAllocation("FailedAllocationAfterUninstallingBesideAnother", 0),
      FaultWithoutPredecessor("AfterUninstallingAndInstallingAgain"),
      FaultWithoutPredecessor("AfterInstallingTwice"),
      FaultWithDefaults("AfterDestroying"),
      FaultWithoutPredecessor("AfterMakingTheHandlerAgain"),
      Refused(Fault("AfterInstallingOverTheDestroyed")),
      Refused({"AbortAfterInstallingOverTheDestroyed", "AbortAfterInstallingOverTheDestroyed",
               BySignal(SIGABRT)}),
      Fault("AfterUninstallingOverTheDestroyed"),
      FaultWithoutPredecessor("InstalledOnAnotherThread"),
      Fault("UninstallingDuringACrash"),
      Fault("InstallingAgainDuringACrash"),
  };
}

}  // namespace crash_test
