// Installing, uninstalling, destroying and making the handler once more.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

Row Fault(const char* scenario) {
  return {scenario, scenario, BySignal(SIGSEGV), 1, {"WriteToNull"}};
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
      Fault("AfterUninstallingAndInstallingAgain"),
      Fault("AfterInstallingTwice"),
      FaultWithDefaults("AfterDestroying"),
      Fault("AfterMakingTheHandlerAgain"),
      Fault("AfterInstallingOverTheDestroyed"),
      {"AbortAfterInstallingOverTheDestroyed", "AbortAfterInstallingOverTheDestroyed",
       BySignal(SIGABRT)},
      Fault("AfterUninstallingOverTheDestroyed"),
      Fault("InstalledOnAnotherThread"),
      Fault("UninstallingDuringACrash"),
      Fault("InstallingAgainDuringACrash"),
  };
}

}  // namespace crash_test
