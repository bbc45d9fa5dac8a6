// The process's own state: forked, out of descriptors, loading a library.
#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

std::atomic<bool> sLoading{false};
// What the library's constructor does, with the dynamic linker's lock held.
void (*sWhileLoading)() = nullptr;

void CrashInForkedChild() {
  const pid_t child = fork();
  if (child == 0) WriteToNull();
  int status = 0;
  waitpid(child, &status, 0);
  _exit(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV ? 8 : 9);
}

void HungForkedChildEndsToo() {
  Callback([](void*, CrashType) { SleepForEver(); });
  CrashInForkedChild();
}

void FaultWithoutAFreeDescriptor() {
  while (dup(STDERR_FILENO) >= 0) {
  }
  WriteToNull();
}

void FaultHoldingTheLoader() {
  sWhileLoading = WriteToNull;
  dlopen(SLOW_LIBRARY, RTLD_NOW);
}

void FaultWhileAnotherHoldsTheLoader() {
  sWhileLoading = SleepForEver;
  std::thread([] { dlopen(SLOW_LIBRARY, RTLD_NOW); }).detach();
  while (!sLoading) SleepMs(1);
  WriteToNull();
}

}  // namespace

// Called by the library's constructor.
extern "C" __attribute__((visibility("default"))) void OpenedSlowLibrary() {
  sLoading = true;
  if (sWhileLoading != nullptr) sWhileLoading();
}

std::vector<Scenario> ProcessScenarios() {
  return {
      SCENARIO(CrashInForkedChild),
      SCENARIO(HungForkedChildEndsToo),
      SCENARIO(FaultWithoutAFreeDescriptor),
      SCENARIO(FaultHoldingTheLoader),
      SCENARIO(FaultWhileAnotherHoldsTheLoader),
  };
}

}  // namespace crash_test
