// A program that goes wrong in the named way while a crash is handled; started by the tests.
//
//   crash_scenario_child SCENARIO DUMP_DIR DEADLINE_MS
//
// The module's log lines go to standard error. All scenarios run below a function that carries the
// filter's word.
#include <dlfcn.h>
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/machine/crash_deadline.h"
#include "tests/crash_handler/flow/frozen_allocator.h"
#include "tests/crash_handler/flow/waiting_threads.h"

// What the filter finds on the stack.
extern "C" int OruRTCScenario(void (*run)());

#define CHILD_FUNCTION __attribute__((noinline, no_sanitize("address", "undefined", "thread")))

namespace {

using CrashHandler::CrashHandlerProxy;
using CrashHandler::CrashType;

CrashHandlerProxy* sHandler = nullptr;
std::atomic<bool> sInCallback{false};
sigjmp_buf sJump;

void Sink(CrashHandler::CrashHandlerLogLevel level, const char* /*tag*/, const char* /*file*/,
          int /*line*/, char* message) {
  char text[2200];
  const int length = snprintf(text, sizeof text, "%d %s\n", level, message);
  if (write(STDERR_FILENO, text, static_cast<size_t>(length)) < 0) _exit(99);
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

void SleepForEver() {
  for (;;) pause();
}

void SleepMs(int milliseconds) { usleep(static_cast<useconds_t>(milliseconds) * 1000); }

void BlockAllSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

void AwaitCallback() {
  while (!sInCallback) SleepMs(1);
}

// A callback that takes its time, so that other threads crash meanwhile.
void SlowCallback(void*, CrashType) {
  sInCallback = true;
  SleepMs(300);
}

void Callback(void (*callback)(void*, CrashType)) { sHandler->SetCrashHandlerCallback(callback); }

// The scenarios.

void CallbackNeverReturns() {
  Callback([](void*, CrashType) { SleepForEver(); });
  WriteToNull();
}

void CallbackSpins() {
  Callback([](void*, CrashType) {
    for (volatile int i = 0;; i = i + 1) {
    }
  });
  DivideByZero();
}

void CallbackBlocksSignalsAndHangs() {
  Callback([](void*, CrashType) {
    BlockAllSignals();
    SleepForEver();
  });
  WriteToNull();
}

void CallbackBlocksSignalsBesideAnotherThread() {
  std::thread(SleepForEver).detach();
  CallbackBlocksSignalsAndHangs();
}

void CallbackFaultsAlike() {
  Callback([](void*, CrashType) { WriteToNull(); });
  WriteToNull();
}

void CallbackFaultsOtherwise() {
  Callback([](void*, CrashType) { DivideByZero(); });
  WriteToNull();
}

void CallbackAborts() {
  Callback([](void*, CrashType) { abort(); });
  WriteToNull();
}

void CallbackUsesTheFacade() {
  Callback([](void* handler, CrashType) {
    auto* proxy = static_cast<CrashHandlerProxy*>(handler);
    CrashHandler::CrashTraceInfo info;
    info.extraInfo = "from the callback";
    proxy->SetTraceInfo(info);
    proxy->InstallCrashHandler();
    proxy->SetCrashHandlerCallback(nullptr);
  });
  WriteToNull();
}

void SinkFaults() {
  sHandler->SetDebugLogSinkCallback([](CrashHandler::CrashHandlerLogLevel, const char*, const char*,
                                       int, char*) { DivideByZero(); });
  WriteToNull();
}

void SinkHangs() {
  sHandler->SetDebugLogSinkCallback([](CrashHandler::CrashHandlerLogLevel, const char*, const char*,
                                       int, char*) { SleepForEver(); });
  WriteToNull();
}

void SecondThreadFaults() {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    DivideByZero();
  });
  WriteToNull();
  second.join();
}

void SecondThreadAborts() {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    abort();
  });
  WriteToNull();
  second.join();
}

void SecondThreadRaises() {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    raise(SIGPIPE);
    if (write(STDERR_FILENO, "raised and went on\n", 19) < 0) _exit(99);
    SleepForEver();
  });
  WriteToNull();
  second.join();
}

void TwentyThreadsFault() {
  std::atomic<int> waiting{20};
  std::vector<std::thread> threads;
  threads.reserve(20);
  for (int i = 0; i < 20; ++i) {
    threads.emplace_back([&waiting] {
      --waiting;
      while (waiting > 0) {
      }
      OruRTCScenario(WriteToNull);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void TwentyThreadsFaultAndTheCallbackHangs() {
  Callback([](void*, CrashType) { SleepForEver(); });
  TwentyThreadsFault();
}

CHILD_FUNCTION bool FailAnAllocation() {
  volatile size_t too_much = SIZE_MAX / 4;
  try {
    volatile char* memory = new char[too_much];
    memory[0] = 1;
  } catch (const std::bad_alloc&) {
    return true;
  }
  return false;
}

void FaultAfterFailedAllocation() {
  if (!FailAnAllocation()) _exit(98);
  WriteToNull();
}

void FaultOnAnotherThreadAfterFailedAllocation() {
  if (!FailAnAllocation()) _exit(98);
  std::thread(WriteToNull).join();
}

void FailedAllocationAfterSurvivedSignal() {
  raise(SIGPIPE);
  if (!FailAnAllocation()) _exit(98);
  _exit(0);
}

void FailedAllocationWithThrowingPredecessor() {
  sHandler->UnInstallCrashHandler();
  std::set_new_handler([] { throw std::bad_alloc(); });
  sHandler->InstallCrashHandler();
  for (int i = 0; i < 2; ++i) {
    if (!FailAnAllocation()) _exit(98);
  }
  _exit(0);
}

void InstallPredecessor(void (*action)(int, siginfo_t*, void*)) {
  sHandler->UnInstallCrashHandler();
  struct sigaction old = {};
  old.sa_sigaction = action;
  old.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &old, nullptr);
  sHandler->InstallCrashHandler();
}

void PredecessorJumpsOut() {
  InstallPredecessor([](int, siginfo_t*, void*) { siglongjmp(sJump, 1); });
  if (sigsetjmp(sJump, 1) == 0) WriteToNull();
  SleepMs(700);
  _exit(5);
}

void PredecessorJumpsOutAndAnotherFaultFollows() {
  InstallPredecessor([](int, siginfo_t*, void*) { siglongjmp(sJump, 1); });
  if (sigsetjmp(sJump, 1) == 0) WriteToNull();
  WriteToNull();
}

void PredecessorExits() {
  InstallPredecessor([](int, siginfo_t*, void*) { _exit(6); });
  WriteToNull();
}

void PredecessorTakesItsTime() {
  InstallPredecessor([](int, siginfo_t*, void*) {
    SleepMs(700);
    _exit(7);
  });
  WriteToNull();
}

void AbortWithAllSignalsBlocked() {
  Callback([](void*, CrashType) { SleepForEver(); });
  BlockAllSignals();
  abort();
}

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

// A host that takes its real-time signals by waiting for them.
void CallbackHangsWhileAThreadAwaitsSignals() {
  sigset_t awaited;
  sigemptyset(&awaited);
  for (int signo = SIGRTMIN; signo < SIGRTMIN + 4; ++signo) sigaddset(&awaited, signo);
  pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
  std::thread([] {
    SleepMs(50);
    OruRTCScenario(CallbackNeverReturns);
  }).detach();
  for (;;) {
    int signo = 0;
    sigwait(&awaited, &signo);
  }
}

void FaultBesideTwoHundredWaitingThreads() {
  crash_test::StartWaitingThreads(50);
  WriteToNull();
}

void FaultWithoutAFreeDescriptor() {
  while (dup(STDERR_FILENO) >= 0) {
  }
  WriteToNull();
}

// On an alternate stack with nothing readable below it.
void FaultOnASmallAlternateStack() {
  constexpr size_t kGuard = 4096;
  constexpr size_t kSize = size_t{64} << 10;
  void* memory =
      mmap(nullptr, kGuard + kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || mprotect(memory, kGuard, PROT_NONE) != 0) _exit(98);
  stack_t stack = {};
  stack.ss_sp = static_cast<char*>(memory) + kGuard;
  stack.ss_size = kSize;
  if (sigaltstack(&stack, nullptr) != 0) _exit(98);
  WriteToNull();
}

void AfterUninstalling() {
  sHandler->UnInstallCrashHandler();
  WriteToNull();
}

void AfterDestroying() {
  CrashHandlerProxy::DestroyCrashHandler(sHandler);
  WriteToNull();
}

void FaultHoldingTheAllocator();
void FaultWhileAnotherHoldsTheAllocator();

std::atomic<bool> sLoading{false};
// What the library's constructor does, with the dynamic linker's lock held.
void (*sWhileLoading)() = nullptr;

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

struct Scenario {
  const char* name;
  void (*run)();
};

#define SCENARIO(function) \
  { #function, function }

constexpr Scenario kScenarios[] = {
    SCENARIO(WriteToNull),
    SCENARIO(CallbackNeverReturns),
    SCENARIO(CallbackSpins),
    SCENARIO(CallbackBlocksSignalsAndHangs),
    SCENARIO(CallbackBlocksSignalsBesideAnotherThread),
    SCENARIO(CallbackFaultsAlike),
    SCENARIO(CallbackFaultsOtherwise),
    SCENARIO(CallbackAborts),
    SCENARIO(CallbackUsesTheFacade),
    SCENARIO(SinkFaults),
    SCENARIO(SinkHangs),
    SCENARIO(SecondThreadFaults),
    SCENARIO(SecondThreadAborts),
    SCENARIO(SecondThreadRaises),
    SCENARIO(TwentyThreadsFault),
    SCENARIO(TwentyThreadsFaultAndTheCallbackHangs),
    SCENARIO(FaultAfterFailedAllocation),
    SCENARIO(FaultOnAnotherThreadAfterFailedAllocation),
    SCENARIO(FailedAllocationAfterSurvivedSignal),
    SCENARIO(FailedAllocationWithThrowingPredecessor),
    SCENARIO(PredecessorJumpsOut),
    SCENARIO(PredecessorJumpsOutAndAnotherFaultFollows),
    SCENARIO(PredecessorExits),
    SCENARIO(PredecessorTakesItsTime),
    SCENARIO(AbortWithAllSignalsBlocked),
    SCENARIO(CrashInForkedChild),
    SCENARIO(HungForkedChildEndsToo),
    SCENARIO(CallbackHangsWhileAThreadAwaitsSignals),
    SCENARIO(FaultBesideTwoHundredWaitingThreads),
    SCENARIO(FaultWithoutAFreeDescriptor),
    SCENARIO(FaultOnASmallAlternateStack),
    SCENARIO(AfterUninstalling),
    SCENARIO(AfterDestroying),
    SCENARIO(FaultHoldingTheLoader),
    SCENARIO(FaultWhileAnotherHoldsTheLoader),
    SCENARIO(FaultHoldingTheAllocator),
    SCENARIO(FaultWhileAnotherHoldsTheAllocator),
};

}  // namespace

namespace {

void FaultHoldingTheAllocator() {
  crash_test::allocator_frozen = true;
  WriteToNull();
}

void FaultWhileAnotherHoldsTheAllocator() {
  std::thread holder([] {
    crash_test::allocator_frozen = true;
    SleepForEver();
  });
  while (!crash_test::allocator_frozen) {
  }
  DivideByZero();
  holder.join();
}

}  // namespace

// Called by the library's constructor.
extern "C" __attribute__((visibility("default"))) void OpenedSlowLibrary() {
  sLoading = true;
  if (sWhileLoading != nullptr) sWhileLoading();
}

extern "C" __attribute__((noinline, visibility("default"))) int OruRTCScenario(void (*run)()) {
  run();
  return 97;
}

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  CrashHandler::machine::SetCrashDeadlineForTesting(atoi(argv[3]));
  sHandler = CrashHandlerProxy::CreateCrashHandler();
  sHandler->SetCrashDumpDirPath(argv[2]);
  CrashHandler::CrashTraceInfo info{"A", "S", "1.0", nullptr};
  sHandler->SetTraceInfo(info);
  sHandler->SetDebugLogSinkCallback(Sink);
  sHandler->InstallCrashHandler();
  for (const Scenario& scenario : kScenarios) {
    if (strcmp(scenario.name, argv[1]) == 0) return OruRTCScenario(scenario.run);
  }
  return 2;
}
