// Crashes while a lock is held, by the crash itself or by another thread.
#include <link.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

std::atomic<bool> sHeld{false};

// No memory is there.
const char* BadText() { return reinterpret_cast<const char*>(uintptr_t{0x10}); }

// Until `hold` has set sHeld, on a thread of its own.
void HoldElsewhere(void (*hold)()) {
  std::thread(hold).detach();
  while (!sHeld) SleepMs(1);
}

void HoldForEver() {
  sHeld = true;
  SleepForEver();
}

void LogToConsole() {
  CrashHandler::CrashHandlerConfig config;
  config.outputLogToConsole = true;
  Handler()->UpdateCrashHandlerConfig(config);
}

void HoldStdio() {
  flockfile(stdout);
  flockfile(stderr);
  flockfile(stdin);
}

SCENARIO(FaultHoldingStdio) {
  LogToConsole();
  HoldStdio();
  WriteToNull();
}

SCENARIO(FaultWhileAnotherHoldsStdio) {
  HoldElsewhere([] {
    HoldStdio();
    HoldForEver();
  });
  WriteToNull();
}

SCENARIO(FaultWhileAnotherHoldsTheConsole) {
  LogToConsole();
  FaultWhileAnotherHoldsStdio();
}

SCENARIO(FaultInPrintf) {
  LogToConsole();
  printf("%d %s\n", 1, BadText());
}

SCENARIO(FaultInLocalTime) {
  const time_t now = 0;
  localtime_r(&now, reinterpret_cast<tm*>(uintptr_t{0x10}));
}

CHILD_FUNCTION int FaultAtLibrary(dl_phdr_info* /*info*/, size_t /*size*/, void* /*data*/) {
  WriteToNull();
  return 0;
}

SCENARIO(FaultWalkingLibraries) { dl_iterate_phdr(FaultAtLibrary, nullptr); }

SCENARIO(FaultWhileAnotherWalksLibraries) {
  HoldElsewhere([] {
    dl_iterate_phdr(
        [](dl_phdr_info*, size_t, void*) {
          HoldForEver();
          return 0;
        },
        nullptr);
  });
  WriteToNull();
}

SCENARIO(FaultInTheDirectorySetter) { Handler()->SetCrashDumpDirPath(BadText()); }

SCENARIO(FaultInTheIdentitySetter) {
  CrashHandler::CrashTraceInfo info{};
  info.extraInfo = BadText();
  Handler()->SetTraceInfo(info);
}

// Both wait: this thread, in its setter, for the other one's report.
SCENARIO(FaultBesideAFaultInTheDirectorySetter) {
  Callback([](void*, CrashType) {
    sHeld = true;
    SleepMs(100);
  });
  std::thread([] {
    while (!sHeld) SleepMs(1);
    FaultInTheDirectorySetter();
  }).detach();
  WriteToNull();
}

void SetIdentityForEver() {
  std::string text;
  for (size_t i = 0;; ++i) {
    text.assign(i % 5000, 'x');
    CrashHandler::CrashTraceInfo info{"A", "S", "1.0", text.c_str()};
    Handler()->SetTraceInfo(info);
    sHeld = true;
  }
}

// The same directory, in ever other words.
void SetDirectoryForEver() {
  const std::string directory = Handler()->GetCrashDumpDirPath();
  for (size_t i = 0;; ++i) {
    Handler()->SetCrashDumpDirPath((directory + std::string(i % 200, '/')).c_str());
    sHeld = true;
  }
}

void GetDirectoryForEver() {
  Handler()->SetDebugLogSinkCallback(nullptr);
  for (;;) {
    Handler()->GetCrashDumpDirPath();
    sHeld = true;
  }
}

SCENARIO(FaultWhileAnotherSetsTheIdentity) {
  HoldElsewhere(SetIdentityForEver);
  WriteToNull();
}

SCENARIO(FaultWhileAnotherSetsTheDirectory) {
  HoldElsewhere(SetDirectoryForEver);
  WriteToNull();
}

SCENARIO(FaultWhileAnotherGetsTheDirectory) {
  HoldElsewhere(GetDirectoryForEver);
  WriteToNull();
}

// After `main`, with the C library's lock on the list of such functions.
SCENARIO(FaultInAnExitHandler) {
  atexit([] { OruRTCScenario(WriteToNull); });
  exit(0);
}

}  // namespace

}  // namespace crash_test
