// The process exits on one thread while another one's crash is handled.
#include <setjmp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

constexpr int kOwnStatus = 6;

std::atomic<bool> sInCallback{false};

void AwaitCallback() {
  while (!sInCallback) SleepMs(1);
}

// Long enough for an exit to get through.
void SlowCallback(void*, CrashType) {
  sInCallback = true;
  SleepMs(300);
}

void HangingCallback(void*, CrashType) {
  sInCallback = true;
  SleepForEver();
}

void StartCrash(void (*crash)(), void (*callback)(void*, CrashType)) {
  Callback(callback);
  std::thread([crash] {
    OruRTCScenario(crash);
    SleepForEver();
  }).detach();
  AwaitCallback();
}

// Made before the handler was installed, it is destroyed late in an exit.
class LastObject {
 public:
  LastObject() = default;
  ~LastObject() {
    if (destroyed != nullptr) destroyed();
  }
  LastObject(const LastObject&) = delete;
  LastObject& operator=(const LastObject&) = delete;

  void (*destroyed)() = nullptr;
};

LastObject sLastObject;

// The report comes first, as the host's objects may be what it, or the callback, needs.
SCENARIO(ExitsDuringAReport) {
  sLastObject.destroyed = [] { _exit(kScenarioFailed); };
  StartCrash(WriteToNull, SlowCallback);
  exit(kOwnStatus);
}

SCENARIO(ExitsDuringAStuckReport) {
  StartCrash(WriteToNull, HangingCallback);
  exit(kOwnStatus);
}

SCENARIO(ExitsDuringAReportAfterUninstalling) {
  Handler()->InstallCrashHandler();
  StartCrash(WriteToNull, SlowCallback);
  Handler()->UnInstallCrashHandler();
  exit(kOwnStatus);
}

SCENARIO(CrashBeginsDuringTheExit) {
  sLastObject.destroyed = [] { StartCrash(WriteToNull, SlowCallback); };
  exit(kOwnStatus);
}

CHILD_FUNCTION void RaisePipe() { raise(SIGPIPE); }

SCENARIO(ExitsDuringACrashThatIsSurvived) {
  StartCrash(RaisePipe, SlowCallback);
  exit(kOwnStatus);
}

sigjmp_buf sJump;

void CrashAndJumpOut() {
  if (sigsetjmp(sJump, 1) == 0) WriteToNull();
  sInCallback = false;
}

// The thread has the crash's turn for good; its report is done.
SCENARIO(ExitsAfterThePredecessorJumpedOut) {
  Handler()->UnInstallCrashHandler();
  struct sigaction action = {};
  action.sa_flags = SA_SIGINFO;
  action.sa_sigaction = [](int, siginfo_t*, void*) { siglongjmp(sJump, 1); };
  Require(sigaction(SIGSEGV, &action, nullptr) == 0);
  Handler()->InstallCrashHandler();
  StartCrash(CrashAndJumpOut, SlowCallback);
  while (sInCallback) SleepMs(1);
  exit(kOwnStatus);
}

// The end by the crash's signal comes only after that.
SCENARIO(ExitsWhileThePredecessorTakesItsTime) {
  Handler()->UnInstallCrashHandler();
  struct sigaction action = {};
  action.sa_flags = SA_SIGINFO;
  action.sa_sigaction = [](int, siginfo_t*, void*) { SleepMs(100); };
  Require(sigaction(SIGSEGV, &action, nullptr) == 0);
  Handler()->InstallCrashHandler();
  StartCrash(WriteToNull, SlowCallback);
  exit(kOwnStatus);
}

// The child has a copy of the crash, and no thread that handles it.
SCENARIO(ForkedChildExitsDuringACrash) {
  StartCrash(WriteToNull, HangingCallback);
  const pid_t child = fork();
  if (child == 0) exit(kOwnStatus);
  int status = 0;
  Require(waitpid(child, &status, 0) == child);
  _exit(WIFEXITED(status) && WEXITSTATUS(status) == kOwnStatus ? 8 : 9);
}

SCENARIO(CallbackExits) {
  Callback([](void*, CrashType) { exit(kOwnStatus); });
  WriteToNull();
}

SCENARIO(ExitsWithoutACrash) { exit(kOwnStatus); }

}  // namespace

}  // namespace crash_test
