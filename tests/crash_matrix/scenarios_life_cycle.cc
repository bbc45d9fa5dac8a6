// Crashes around installing, uninstalling, destroying and making the handler once more.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <new>
#include <string>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

std::atomic<bool> sInCallback{false};
std::atomic<bool> sUninstalled{false};

// The handler that is made next is told what this one was.
void MakeHandlerAgain() {
  const std::string dump_dir = Handler()->GetCrashDumpDirPath();
  CrashHandlerProxy::DestroyCrashHandler(Handler());
  Handler()->SetCrashDumpDirPath(dump_dir.c_str());
  CrashHandler::CrashTraceInfo info{"A", "S", "1.0", nullptr};
  Handler()->SetTraceInfo(info);
}

void AfterUninstalling() {
  Handler()->UnInstallCrashHandler();
  WriteToNull();
}

CHILD_FUNCTION void AbortAfterUninstalling() {
  Handler()->UnInstallCrashHandler();
  abort();
}

// There was no new-handler to put back.
void FailedAllocationAfterUninstalling() {
  Handler()->UnInstallCrashHandler();
  FailAnAllocation();
}

void FailedAllocationAfterUninstallingBesideAnother() {
  Handler()->UnInstallCrashHandler();
  std::set_new_handler([] { throw std::bad_alloc(); });
  Handler()->InstallCrashHandler();
  Handler()->UnInstallCrashHandler();
  FailAnAllocation();
}

void AfterUninstallingAndInstallingAgain() {
  Handler()->UnInstallCrashHandler();
  Handler()->InstallCrashHandler();
  WriteToNull();
}

void AfterInstallingTwice() {
  Handler()->InstallCrashHandler();
  WriteToNull();
}

void AfterDestroying() {
  CrashHandlerProxy::DestroyCrashHandler(Handler());
  WriteToNull();
}

void AfterMakingTheHandlerAgain() {
  Handler()->UnInstallCrashHandler();
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  WriteToNull();
}

// The second handler finds the first one's action in its place.
void AfterInstallingOverTheDestroyed() {
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  WriteToNull();
}

CHILD_FUNCTION void AbortAfterInstallingOverTheDestroyed() {
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  abort();
}

// What is put back is the first one's.
void AfterUninstallingOverTheDestroyed() {
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  Handler()->UnInstallCrashHandler();
  WriteToNull();
}

void InstalledOnAnotherThread() {
  Handler()->UnInstallCrashHandler();
  std::thread([] { Handler()->InstallCrashHandler(); }).join();
  WriteToNull();
}

void SlowCallback(void*, CrashType) {
  sInCallback = true;
  while (!sUninstalled) SleepMs(1);
}

void UninstallingDuringACrash() {
  Callback(SlowCallback);
  std::thread([] {
    while (!sInCallback) SleepMs(1);
    Handler()->UnInstallCrashHandler();
    sUninstalled = true;
    SleepForEver();
  }).detach();
  WriteToNull();
}

void InstallingAgainDuringACrash() {
  Callback(SlowCallback);
  std::thread([] {
    while (!sInCallback) SleepMs(1);
    Handler()->UnInstallCrashHandler();
    Handler()->InstallCrashHandler();
    sUninstalled = true;
    SleepForEver();
  }).detach();
  WriteToNull();
}

}  // namespace

std::vector<Scenario> LifeCycleScenarios() {
  return {
      SCENARIO(AfterUninstalling),
      SCENARIO(AbortAfterUninstalling),
      SCENARIO(FailedAllocationAfterUninstalling),
      SCENARIO(FailedAllocationAfterUninstallingBesideAnother),
      SCENARIO(AfterUninstallingAndInstallingAgain),
      SCENARIO(AfterInstallingTwice),
      SCENARIO(AfterDestroying),
      SCENARIO(AfterMakingTheHandlerAgain),
      SCENARIO(AfterInstallingOverTheDestroyed),
      SCENARIO(AbortAfterInstallingOverTheDestroyed),
      SCENARIO(AfterUninstallingOverTheDestroyed),
      SCENARIO(InstalledOnAnotherThread),
      SCENARIO(UninstallingDuringACrash),
      SCENARIO(InstallingAgainDuringACrash),
  };
}

}  // namespace crash_test
