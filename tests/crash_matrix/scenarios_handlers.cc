// Handlers that were there before, and handlers that are gone.
#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

sigjmp_buf sJump;

void InstallPredecessor(void (*action)(int, siginfo_t*, void*)) {
  Handler()->UnInstallCrashHandler();
  struct sigaction old = {};
  old.sa_sigaction = action;
  old.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &old, nullptr);
  Handler()->InstallCrashHandler();
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

void AfterUninstalling() {
  Handler()->UnInstallCrashHandler();
  WriteToNull();
}

void AfterDestroying() {
  CrashHandlerProxy::DestroyCrashHandler(Handler());
  WriteToNull();
}

}  // namespace

std::vector<Scenario> HandlerScenarios() {
  return {
      SCENARIO(PredecessorJumpsOut), SCENARIO(PredecessorJumpsOutAndAnotherFaultFollows),
      SCENARIO(PredecessorExits),    SCENARIO(PredecessorTakesItsTime),
      SCENARIO(AfterUninstalling),   SCENARIO(AfterDestroying),
  };
}

}  // namespace crash_test
