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

SCENARIO(AfterUninstalling) {
  Handler()->UnInstallCrashHandler();
  WriteToNull();
}

SCENARIO(AbortAfterUninstalling) {
  Handler()->UnInstallCrashHandler();
  abort();
}

// There was no new-handler to put back.
SCENARIO(FailedAllocationAfterUninstalling) {
  Handler()->UnInstallCrashHandler();
  FailAnAllocation();
}

SCENARIO(FailedAllocationAfterUninstallingBesideAnother) {
  Handler()->UnInstallCrashHandler();
  std::set_new_handler([] { throw std::bad_alloc(); });
  Handler()->InstallCrashHandler();
  Handler()->UnInstallCrashHandler();
  FailAnAllocation();
}

SCENARIO(AfterUninstallingAndInstallingAgain) {
  Handler()->UnInstallCrashHandler();
  Handler()->InstallCrashHandler();
  WriteToNull();
}

SCENARIO(AfterInstallingTwice) {
  Handler()->InstallCrashHandler();
  WriteToNull();
}

SCENARIO(AfterDestroying) {
  CrashHandlerProxy::DestroyCrashHandler(Handler());
  WriteToNull();
}

SCENARIO(AfterMakingTheHandlerAgain) {
  Handler()->UnInstallCrashHandler();
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  WriteToNull();
}

// The second handler finds the first one's action in its place.
SCENARIO(AfterInstallingOverTheDestroyed) {
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  WriteToNull();
}

SCENARIO(AbortAfterInstallingOverTheDestroyed) {
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  abort();
}

// What is put back is the first one's.
SCENARIO(AfterUninstallingOverTheDestroyed) {
  MakeHandlerAgain();
  Handler()->InstallCrashHandler();
  Handler()->UnInstallCrashHandler();
  WriteToNull();
}

SCENARIO(InstalledOnAnotherThread) {
  Handler()->UnInstallCrashHandler();
  std::thread([] { Handler()->InstallCrashHandler(); }).join();
  WriteToNull();
}

void SlowCallback(void*, CrashType) {
  sInCallback = true;
  while (!sUninstalled) SleepMs(1);
}

SCENARIO(UninstallingDuringACrash) {
  Callback(SlowCallback);
  std::thread([] {
    while (!sInCallback) SleepMs(1);
    Handler()->UnInstallCrashHandler();
    sUninstalled = true;
    SleepForEver();
  }).detach();
  WriteToNull();
}

SCENARIO(InstallingAgainDuringACrash) {
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

}  // namespace crash_test
