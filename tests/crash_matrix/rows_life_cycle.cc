// Installing, uninstalling, destroying and making the handler once more.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

Row Uninstalled(Row row) {
  row.said = {kSaysInstalled, "1 DarwinCrashHandler::UnInstallCrashHandler"};
  return row;
}

Row Fault(const char* scenario) {
  return {scenario, scenario, BySignal(SIGSEGV), 1, {"WriteToNull"}};
}

// No older handler is called: the one that was found was the default action.
Row FaultWithoutPredecessor(const char* scenario) {
  Row row = Fault(scenario);
  row.said = {kSaysFinished};
  return row;
}

// A sanitizer's operator new never asks the new-handler.
Row FailedAllocation(const char* scenario, int reports) {
  Row row{scenario, scenario, ByExit(97), reports, {"FailAnAllocation"}, {}, kNotUnderSanitizers};
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

// GNUstep raises at its first look at such arguments, and ends the process at the next one.
Row WithArgumentsThatAreNotUtf8(const char* name, const char* scenario) {
  Row row = FaultWithoutPredecessor(scenario);
  row.name = name;
  row.options = {"--extra-info", "caf\xe9"};
  return row;
}

}  // namespace

std::vector<Row> LifeCycleRows() {
  return {
      Uninstalled({"AfterUninstalling", "AfterUninstalling", BySignal(SIGSEGV), 0}),
      Uninstalled({"AbortAfterUninstalling", "AbortAfterUninstalling", BySignal(SIGABRT), 0}),
      FailedAllocation("FailedAllocationAfterUninstalling", 1),
      FailedAllocation("FailedAllocationAfterUninstallingBesideAnother", 0),
      FaultWithoutPredecessor("AfterUninstallingAndInstallingAgain"),
      FaultWithoutPredecessor("AfterInstallingTwice"),
      WithArgumentsThatAreNotUtf8("WithArgumentsThatAreNotUtf8AfterInstallingAgain",
                                  "AfterUninstallingAndInstallingAgain"),
      FaultWithDefaults("AfterDestroying"),
      FaultWithoutPredecessor("AfterMakingTheHandlerAgain"),
      Refused(Fault("AfterInstallingOverTheDestroyed")),
      Refused({"AbortAfterInstallingOverTheDestroyed",
               "AbortAfterInstallingOverTheDestroyed",
               BySignal(SIGABRT),
               1,
               {"abort", "AbortAfterInstallingOverTheDestroyed"}}),
      Fault("AfterUninstallingOverTheDestroyed"),
      FaultWithoutPredecessor("InstalledOnAnotherThread"),
      Fault("UninstallingDuringACrash"),
      Fault("InstallingAgainDuringACrash"),
  };
}

}  // namespace crash_test
