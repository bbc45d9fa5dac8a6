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

SCENARIO(CallbackNeverReturns) {
  Callback([](void*, CrashType) { SleepForEver(); });
  WriteToNull();
}

SCENARIO(CallbackSpins) {
  Callback([](void*, CrashType) {
    for (volatile int i = 0;; i = i + 1) {
    }
  });
  DivideByZero();
}

SCENARIO(CallbackBlocksSignalsAndHangs) {
  Callback([](void*, CrashType) {
    BlockAllSignals();
    SleepForEver();
  });
  WriteToNull();
}

SCENARIO(CallbackBlocksSignalsBesideAnotherThread) {
  std::thread(SleepForEver).detach();
  CallbackBlocksSignalsAndHangs();
}

SCENARIO(CallbackFaultsAlike) {
  Callback([](void*, CrashType) { WriteToNull(); });
  WriteToNull();
}

SCENARIO(CallbackFaultsOtherwise) {
  Callback([](void*, CrashType) { DivideByZero(); });
  WriteToNull();
}

// By frames that are large, so that the filter's word is still among those that a report has.
CHILD_FUNCTION void FillTheStack(int* sum) {
  volatile char room[12288];
  room[0] = static_cast<char>(*sum);
  if (++*sum < 0) return;
  FillTheStack(sum);
  *sum += room[0];
}

SCENARIO(CallbackOverflowsItsStack) {
  Callback([](void*, CrashType) {
    int sum = 0;
    FillTheStack(&sum);
  });
  WriteToNull();
}

SCENARIO(CallbackAborts) {
  Callback([](void*, CrashType) { abort(); });
  WriteToNull();
}

// Survived, after the report was rescued; the ordinary one has another second in its name.
SCENARIO(CallbackSurvivesAnAbort) {
  Callback([](void*, CrashType) {
    raise(SIGABRT);
    SleepMs(1100);
  });
  WriteToNull();
}

// The crashed function's caller would take it for its own.
SCENARIO(CallbackThrowsBelowACatch) {
  Callback([](void*, CrashType) { throw std::runtime_error("thrown by the callback"); });
  try {
    WriteToNull();
  } catch (const std::exception&) {
    _exit(kScenarioFailed);
  }
}

SCENARIO(SinkThrowsBelowACatch) {
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

SCENARIO(CancelledInTheCallback) {
  Callback([](void*, CrashType) {
    pthread_cancel(pthread_self());
    pthread_testcancel();
  });
  WriteToNull();
}

SCENARIO(CallbackUsesTheFacade) {
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

SCENARIO(SinkFaults) {
  Handler()->SetDebugLogSinkCallback([](CrashHandler::CrashHandlerLogLevel, const char*,
                                        const char*, int, char*) { DivideByZero(); });
  WriteToNull();
}

SCENARIO(SinkHangs) {
  Handler()->SetDebugLogSinkCallback([](CrashHandler::CrashHandlerLogLevel, const char*,
                                        const char*, int, char*) { SleepForEver(); });
  WriteToNull();
}

SCENARIO(AbortWithAllSignalsBlocked) {
  Callback([](void*, CrashType) { SleepForEver(); });
  BlockAllSignals();
  abort();
}

SCENARIO(AbortWithSignalsBlockedAndTheCallbackFaults) {
  Callback([](void*, CrashType) { WriteToNull(); });
  BlockAllSignals();
  abort();
}

SCENARIO(AbortWithSignalsBlockedAndTheSinkFaults) {
  Handler()->SetDebugLogSinkCallback(
      [](CrashHandler::CrashHandlerLogLevel, const char*, const char*, int, char* line) {
        if (strstr(line, "Crash stack: ") != nullptr) DivideByZero();
      });
  BlockAllSignals();
  abort();
}

SCENARIO(AbortWithSignalsBlockedAndThePredecessorFaults) {
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

SCENARIO(CallbackHangsWhileAThreadAwaitsSignals) {
  sigset_t some;
  sigemptyset(&some);
  for (int signo = SIGRTMIN; signo < SIGRTMIN + 4; ++signo) sigaddset(&some, signo);
  HangWhileThisThreadAwaits(some);
}

// As a host does that handles all its signals on a thread of their own.
SCENARIO(CallbackHangsWhileAThreadAwaitsAllSignals) {
  sigset_t all;
  sigfillset(&all);
  // Nobody waits for a fault: it would end the process.
  sigdelset(&all, SIGSEGV);
  HangWhileThisThreadAwaits(all);
}

}  // namespace

}  // namespace crash_test
