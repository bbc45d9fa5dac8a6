// The host's callback and log sink go wrong while a crash is handled.
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

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

// Survived, after the report was rescued; the ordinary one has another second in its name.
void CallbackSurvivesAnAbort() {
  Callback([](void*, CrashType) {
    raise(SIGABRT);
    SleepMs(1100);
  });
  WriteToNull();
}

// The crashed function's caller would take it for its own.
CHILD_FUNCTION void CallbackThrowsBelowACatch() {
  Callback([](void*, CrashType) { throw std::runtime_error("thrown by the callback"); });
  try {
    WriteToNull();
  } catch (const std::exception&) {
    _exit(kScenarioFailed);
  }
}

CHILD_FUNCTION void SinkThrowsBelowACatch() {
  Handler()->SetDebugLogSinkCallback(
      [](CrashHandler::CrashHandlerLogLevel, const char*, const char*, int, char* line) {
        if (strstr(line, "find sdk symbols") != nullptr)
          throw std::runtime_error("thrown by the sink");
      });
  try {
    WriteToNull();
  } catch (const std::exception&) {
    _exit(kScenarioFailed);
  }
}

void CancelledInTheCallback() {
  Callback([](void*, CrashType) {
    pthread_cancel(pthread_self());
    pthread_testcancel();
  });
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
  Handler()->SetDebugLogSinkCallback([](CrashHandler::CrashHandlerLogLevel, const char*,
                                        const char*, int, char*) { DivideByZero(); });
  WriteToNull();
}

void SinkHangs() {
  Handler()->SetDebugLogSinkCallback([](CrashHandler::CrashHandlerLogLevel, const char*,
                                        const char*, int, char*) { SleepForEver(); });
  WriteToNull();
}

void AbortWithAllSignalsBlocked() {
  Callback([](void*, CrashType) { SleepForEver(); });
  BlockAllSignals();
  abort();
}

CHILD_FUNCTION void AbortWithSignalsBlockedAndTheCallbackFaults() {
  Callback([](void*, CrashType) { WriteToNull(); });
  BlockAllSignals();
  abort();
}

CHILD_FUNCTION void AbortWithSignalsBlockedAndTheSinkFaults() {
  Handler()->SetDebugLogSinkCallback(
      [](CrashHandler::CrashHandlerLogLevel, const char*, const char*, int, char* line) {
        if (strstr(line, "Crash stack: ") != nullptr) DivideByZero();
      });
  BlockAllSignals();
  abort();
}

CHILD_FUNCTION void AbortWithSignalsBlockedAndThePredecessorFaults() {
  Handler()->UnInstallCrashHandler();
  struct sigaction predecessor = {};
  predecessor.sa_sigaction = [](int, siginfo_t*, void*) { WriteToNull(); };
  predecessor.sa_flags = SA_SIGINFO;
  Require(sigaction(SIGABRT, &predecessor, nullptr) == 0);
  Handler()->InstallCrashHandler();
  BlockAllSignals();
  abort();
}

// A host that takes its real-time signals by waiting for them.
void HangWhileThisThreadAwaits(sigset_t awaited) {
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

void CallbackHangsWhileAThreadAwaitsSignals() {
  sigset_t some;
  sigemptyset(&some);
  for (int signo = SIGRTMIN; signo < SIGRTMIN + 4; ++signo) sigaddset(&some, signo);
  HangWhileThisThreadAwaits(some);
}

// As a host does that handles all its signals on a thread of their own.
void CallbackHangsWhileAThreadAwaitsAllSignals() {
  sigset_t all;
  sigfillset(&all);
  // Nobody waits for a fault: it would end the process.
  sigdelset(&all, SIGSEGV);
  HangWhileThisThreadAwaits(all);
}

}  // namespace

std::vector<Scenario> CallbackScenarios() {
  return {
      SCENARIO(CallbackNeverReturns),
      SCENARIO(CallbackSpins),
      SCENARIO(CallbackBlocksSignalsAndHangs),
      SCENARIO(CallbackBlocksSignalsBesideAnotherThread),
      SCENARIO(CallbackFaultsAlike),
      SCENARIO(CallbackFaultsOtherwise),
      SCENARIO(CallbackAborts),
      SCENARIO(CallbackSurvivesAnAbort),
      SCENARIO(CallbackThrowsBelowACatch),
      SCENARIO(SinkThrowsBelowACatch),
      SCENARIO(CancelledInTheCallback),
      SCENARIO(CallbackUsesTheFacade),
      SCENARIO(SinkFaults),
      SCENARIO(SinkHangs),
      SCENARIO(AbortWithAllSignalsBlocked),
      SCENARIO(AbortWithSignalsBlockedAndTheCallbackFaults),
      SCENARIO(AbortWithSignalsBlockedAndTheSinkFaults),
      SCENARIO(AbortWithSignalsBlockedAndThePredecessorFaults),
      SCENARIO(CallbackHangsWhileAThreadAwaitsSignals),
      SCENARIO(CallbackHangsWhileAThreadAwaitsAllSignals),
  };
}

}  // namespace crash_test
