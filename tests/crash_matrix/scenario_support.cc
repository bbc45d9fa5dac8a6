#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

const Scenario* sNewestScenario = nullptr;
int sRescueTimeMs = 0;

}  // namespace

Scenario::Scenario(const char* scenario_name, void (*scenario)())
    : name(scenario_name), run(scenario), older(sNewestScenario) {
  sNewestScenario = this;
}

const Scenario* FindScenario(const char* name) {
  const Scenario* scenario = sNewestScenario;
  while (scenario != nullptr && strcmp(scenario->name, name) != 0) scenario = scenario->older;
  return scenario;
}

int RescueTimeMs() { return sRescueTimeMs; }

void SetRescueTime(int milliseconds) {
  sRescueTimeMs = milliseconds;
  CrashHandler::SetCrashRescueTimeForTesting(milliseconds);
}

CHILD_FUNCTION void WriteToNull() {
  int* volatile nowhere = nullptr;
  *nowhere = 1;
}

CHILD_FUNCTION void DivideByZero() {
  volatile int number = 100;
  volatile int zero = 0;
  printf("%d\n", number / zero);
}

CrashHandlerProxy* Handler() { return CrashHandlerProxy::CreateCrashHandler(); }

void Callback(void (*callback)(void*, CrashType)) { Handler()->SetCrashHandlerCallback(callback); }

void SleepForEver() {
  for (;;) pause();
}

void Spin() {
  for (;;) asm volatile("");
}

void SleepMs(int milliseconds) { usleep(static_cast<useconds_t>(milliseconds) * 1000); }

void BlockAllSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

void Say(const char* line) {
  if (write(STDERR_FILENO, line, strlen(line)) < 0 || write(STDERR_FILENO, "\n", 1) < 0) {
    _exit(kScenarioFailed);
  }
}

CHILD_FUNCTION void FailAnAllocation() {
  volatile size_t too_much = SIZE_MAX / 4;
  try {
    volatile char* memory = new char[too_much];
    memory[0] = 1;
  } catch (const std::bad_alloc&) {
    Say("bad_alloc");
    return;
  }
  _exit(kScenarioFailed);
}

void Require(bool done) {
  if (!done) _exit(kScenarioFailed);
}

bool DeadlineIsOver() {
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
    struct sigaction action = {};
    if (sigaction(signo, nullptr, &action) == 0 && action.sa_handler != SIG_DFL) return false;
  }
  return true;
}

void UseGuardedAlternateStack(size_t size) {
  constexpr size_t kGuard = 4096;
  void* memory =
      mmap(nullptr, kGuard + size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || mprotect(memory, kGuard, PROT_NONE) != 0) _exit(kScenarioFailed);
  stack_t stack = {};
  stack.ss_sp = static_cast<char*>(memory) + kGuard;
  stack.ss_size = size;
  if (sigaltstack(&stack, nullptr) != 0) _exit(kScenarioFailed);
}

}  // namespace crash_test

extern "C" __attribute__((noinline, visibility("default"))) int OruRTCScenario(void (*run)()) {
  run();
  return crash_test::kScenarioReturned;
}
