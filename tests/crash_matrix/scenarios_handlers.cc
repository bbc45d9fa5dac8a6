// Signal handlers that were there before the module's, and handlers that came later.
#include <dirent.h>
#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

using InfoAction = void (*)(int, siginfo_t*, void*);

sigjmp_buf sJump;
// What a later handler found.
struct sigaction sFound;

struct sigaction Plain(void (*action)(int)) {
  struct sigaction result = {};
  result.sa_handler = action;
  return result;
}

struct sigaction WithInfo(InfoAction action, unsigned flags = 0) {
  struct sigaction result = {};
  result.sa_sigaction = action;
  result.sa_flags = static_cast<int>(SA_SIGINFO | flags);
  return result;
}

void InstallPredecessor(const struct sigaction& predecessor, int signo = SIGSEGV) {
  Handler()->UnInstallCrashHandler();
  Require(sigaction(signo, &predecessor, nullptr) == 0);
  Handler()->InstallCrashHandler();
}

int CountReports() {
  const std::string folder = std::string(Handler()->GetCrashDumpDirPath()) + "/1.0";
  DIR* const stream = opendir(folder.c_str());
  if (stream == nullptr) return 0;
  int count = 0;
  while (const dirent* entry = readdir(stream)) {
    count += strstr(entry->d_name, ".log") != nullptr ? 1 : 0;
  }
  closedir(stream);
  return count;
}

bool IsBlocked(int signo) {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signo) == 1;
}

// What the row counts: one line a call.
void TellIf(bool as_the_kernel_would) {
  Require(as_the_kernel_would && DeadlineIsOver() && CountReports() == 1);
  Say("predecessor after the report");
}

void Tell(int signo, siginfo_t* info, void* context) {
  TellIf(info != nullptr && info->si_signo == signo && context != nullptr && IsBlocked(signo));
}

// Installed with a mask and SA_NODEFER.
void TellNotDeferred(int signo, siginfo_t* /*info*/, void* /*context*/) {
  TellIf(!IsBlocked(signo) && IsBlocked(SIGUSR1) && !IsBlocked(SIGUSR2));
}

void MustNotBeCalled(int /*signo*/) { _exit(kScenarioFailed); }

SCENARIO(PredecessorIsTheDefault) {
  struct sigaction action = Plain(SIG_DFL);
  action.sa_flags = SA_SIGINFO;
  InstallPredecessor(action);
  WriteToNull();
}

SCENARIO(PredecessorIgnores) {
  InstallPredecessor(Plain(SIG_IGN));
  WriteToNull();
}

SCENARIO(PredecessorIgnoresWithInfo) {
  struct sigaction action = Plain(SIG_IGN);
  action.sa_flags = SA_SIGINFO;
  InstallPredecessor(action);
  WriteToNull();
}

SCENARIO(PredecessorIgnoresSigpipe) {
  InstallPredecessor(Plain(SIG_IGN), SIGPIPE);
  raise(SIGPIPE);
}

SCENARIO(PredecessorIgnoresSigpipeTwice) {
  PredecessorIgnoresSigpipe();
  raise(SIGPIPE);
}

SCENARIO(SigpipeIgnoredAfterInstalling) {
  signal(SIGPIPE, SIG_IGN);
  raise(SIGPIPE);
  raise(SIGPIPE);
}

SCENARIO(PredecessorIsPlain) {
  InstallPredecessor(Plain(MustNotBeCalled));
  WriteToNull();
}

SCENARIO(PredecessorOfAnotherSignal) {
  InstallPredecessor(WithInfo([](int, siginfo_t*, void*) { _exit(kScenarioFailed); }), SIGFPE);
  WriteToNull();
}

SCENARIO(PredecessorReturns) {
  InstallPredecessor(WithInfo(Tell));
  WriteToNull();
}

SCENARIO(PredecessorOfARaisedSignalReturns) {
  InstallPredecessor(WithInfo(Tell), SIGPIPE);
  raise(SIGPIPE);
}

SCENARIO(PredecessorIsForOneCall) {
  InstallPredecessor(WithInfo(Tell, SA_RESETHAND | SA_ONSTACK));
  WriteToNull();
}

SCENARIO(PredecessorIsNotDeferred) {
  struct sigaction action = WithInfo(TellNotDeferred, SA_NODEFER | SA_RESTART);
  sigaddset(&action.sa_mask, SIGUSR1);
  InstallPredecessor(action);
  WriteToNull();
}

// The module opens the faults' signals for itself; this is none of theirs.
SCENARIO(PredecessorOfSigpipeIsNotDeferred) {
  struct sigaction action = WithInfo(TellNotDeferred, SA_NODEFER);
  sigaddset(&action.sa_mask, SIGUSR1);
  InstallPredecessor(action, SIGPIPE);
  raise(SIGPIPE);
}

// As a reporter that lets the signal end the process when it is done.
SCENARIO(PredecessorRaisesAgainAndExits) {
  InstallPredecessor(WithInfo(
      [](int signo, siginfo_t* info, void*) {
        Say("predecessor after the report");
        raise(info->si_signo);
        _exit(signo == 0 ? 0 : 1);
      },
      SA_ONSTACK | SA_NODEFER | SA_RESETHAND));
  WriteToNull();
}

// It would have been called again and again without the module.
SCENARIO(PredecessorFaults) {
  InstallPredecessor(WithInfo(
      [](int signo, siginfo_t*, void*) {
        TellIf(!IsBlocked(signo));
        WriteToNull();
      },
      SA_NODEFER));
  WriteToNull();
}

SCENARIO(PredecessorFaultsOtherwise) {
  InstallPredecessor(WithInfo([](int signo, siginfo_t* info, void* context) {
    Tell(signo, info, context);
    DivideByZero();
  }));
  WriteToNull();
}

// As many a handler ends: by the default action and the signal once more.
SCENARIO(PredecessorRaisesAgain) {
  InstallPredecessor(WithInfo([](int signo, siginfo_t* info, void* context) {
    Tell(signo, info, context);
    signal(signo, SIG_DFL);
    raise(signo);
  }));
  WriteToNull();
}

SCENARIO(PredecessorJumpsOut) {
  InstallPredecessor(WithInfo([](int signo, siginfo_t* info, void* context) {
    Tell(signo, info, context);
    siglongjmp(sJump, 1);
  }));
  if (sigsetjmp(sJump, 1) == 0) WriteToNull();
  _exit(5);
}

SCENARIO(PredecessorJumpsOutAndAnotherFaultFollows) {
  InstallPredecessor(WithInfo([](int, siginfo_t*, void*) { siglongjmp(sJump, 1); }));
  if (sigsetjmp(sJump, 1) == 0) WriteToNull();
  WriteToNull();
}

// The predecessor keeps the crash; what fails meanwhile on another thread is refused in its time.
SCENARIO(PredecessorHangsAndAnAllocationFails) {
  static std::atomic<bool> hangs{false};
  InstallPredecessor(WithInfo([](int signo, siginfo_t* info, void* context) {
    Tell(signo, info, context);
    hangs = true;
    SleepForEver();
  }));
  std::thread([] { OruRTCScenario(WriteToNull); }).detach();
  while (!hangs) SleepMs(1);
  FailAnAllocation();
}

SCENARIO(PredecessorExits) {
  InstallPredecessor(WithInfo([](int signo, siginfo_t* info, void* context) {
    Tell(signo, info, context);
    _exit(6);
  }));
  WriteToNull();
}

void InstallSuccessor(InfoAction action) {
  const struct sigaction successor = WithInfo(action);
  Require(sigaction(SIGSEGV, &successor, &sFound) == 0);
}

SCENARIO(SuccessorChains) {
  InstallSuccessor([](int signo, siginfo_t* info, void* context) {
    sFound.sa_sigaction(signo, info, context);
    Say(CountReports() == 1 ? "successor after the report" : "no report");
  });
  WriteToNull();
}

SCENARIO(SuccessorChainsAndJumpsOut) {
  InstallSuccessor([](int signo, siginfo_t* info, void* context) {
    sFound.sa_sigaction(signo, info, context);
    siglongjmp(sJump, 1);
  });
  if (sigsetjmp(sJump, 1) == 0) WriteToNull();
  _exit(DeadlineIsOver() ? 5 : kScenarioFailed);
}

// Puts back what it found: the fault comes once more, to the module.
SCENARIO(SuccessorStepsAside) {
  InstallSuccessor([](int signo, siginfo_t*, void*) { sigaction(signo, &sFound, nullptr); });
  WriteToNull();
}

SCENARIO(SuccessorDoesNotChain) {
  InstallSuccessor([](int signo, siginfo_t*, void*) {
    Say("successor");
    signal(signo, SIG_DFL);
  });
  WriteToNull();
}

}  // namespace

}  // namespace crash_test
