// Crashes around other processes, forked, started or become, and while a library is loaded.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "tests/crash_matrix/scenario.h"

extern "C" char** environ;

namespace crash_test {
namespace {

std::atomic<bool> sLoading{false};
std::atomic<bool> sInCallback{false};
std::atomic<bool> sForked{false};
// What the library's constructor does, with the dynamic linker's lock held.
void (*sWhileLoading)() = nullptr;

int WaitFor(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
  }
  return status;
}

bool EndedBy(int status, int signo) { return WIFSIGNALED(status) && WTERMSIG(status) == signo; }

// Reports of different processes within one second would otherwise have one name.
void NameSession(const char* session) {
  CrashHandler::CrashTraceInfo info{nullptr, session, nullptr, nullptr};
  Handler()->SetTraceInfo(info);
}

SCENARIO(CrashInForkedChild) {
  const pid_t child = fork();
  if (child == 0) WriteToNull();
  _exit(EndedBy(WaitFor(child), SIGSEGV) ? 8 : 9);
}

SCENARIO(HungForkedChildEndsToo) {
  Callback([](void*, CrashType) { SleepForEver(); });
  CrashInForkedChild();
}

// The child lives until the parent's end of the pipe is closed.
SCENARIO(CrashBesideAForkedChild) {
  int ends[2];
  Require(pipe(ends) == 0);
  if (fork() == 0) {
    close(ends[1]);
    char byte = 0;
    _exit(read(ends[0], &byte, 1) == 0 ? 0 : kScenarioFailed);
  }
  WriteToNull();
}

SCENARIO(CrashInParentAndForkedChild) {
  const pid_t child = fork();
  if (child == 0) {
    NameSession("child");
    WriteToNull();
  }
  Require(EndedBy(WaitFor(child), SIGSEGV));
  DivideByZero();
}

SCENARIO(TenForkedChildrenCrash) {
  pid_t children[10];
  for (int i = 0; i < 10; ++i) {
    children[i] = fork();
    if (children[i] != 0) continue;
    NameSession(std::to_string(i).c_str());
    WriteToNull();
  }
  for (const pid_t child : children) Require(EndedBy(WaitFor(child), SIGSEGV));
  _exit(8);
}

// The child has a copy of a crash that no thread of its own handles.
SCENARIO(CrashInAChildForkedDuringACrash) {
  Callback([](void*, CrashType) {
    sInCallback = true;
    while (!sForked) SleepMs(1);
  });
  std::thread([] {
    while (!sInCallback) SleepMs(1);
    const pid_t child = fork();
    if (child == 0) DivideByZero();
    Require(EndedBy(WaitFor(child), SIGFPE));
    sForked = true;
    SleepForEver();
  }).detach();
  WriteToNull();
}

SCENARIO(FaultAfterStartingProcesses) {
  pid_t spawned = 0;
  char name[] = "/bin/true";
  char* const arguments[] = {name, nullptr};
  Require(posix_spawn(&spawned, name, nullptr, nullptr, arguments, environ) == 0);
  Require(WaitFor(spawned) == 0);
  // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork): what is tested.
  const pid_t child = vfork();
  if (child == 0) _exit(0);
  Require(WaitFor(child) == 0);
  WriteToNull();
}

// This program once more, without the handler.
void BecomeProgramWith(const char* scenario) {
  const char* const arguments[] = {"crash_scenario_child", scenario, "dumps", "6000",
                                   "--without-handler",    nullptr};
  execv("/proc/self/exe", const_cast<char* const*>(arguments));
  _exit(kScenarioFailed);
}

SCENARIO(BecomesAnotherProgram) { BecomeProgramWith("ExpectAnUntouchedProcess"); }

// A host that starts itself anew instead of ending.
SCENARIO(CallbackBecomesAnotherProgram) {
  Callback([](void*, CrashType) { BecomeProgramWith("ExpectTheSignalOpen"); });
  WriteToNull();
}

// Where the deadline, two seconds behind the rescue, would have passed in the meantime.
SCENARIO(CallbackBecomesALongProgram) {
  const rlimit none = {0, 0};
  Require(setrlimit(RLIMIT_SIGPENDING, &none) == 0);
  Callback([](void*, CrashType) {
    char command[64];
    const int tenths = RescueTimeMs() / 100 + 25;
    snprintf(command, sizeof(command), "sleep %d.%d; exit 11", tenths / 10, tenths % 10);
    execl("/bin/sh", "sh", "-c", command, nullptr);
    _exit(kScenarioFailed);
  });
  WriteToNull();
}

// A new program keeps the mask of the thread that started it: here that of the signal's handler,
// which is open to another fault.
SCENARIO(ExpectTheSignalOpen) {
  sigset_t mask;
  Require(pthread_sigmask(SIG_BLOCK, nullptr, &mask) == 0);
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) Require(sigismember(&mask, signo) == 0);
  _exit(sigismember(&mask, SIGSEGV) == 0 ? 11 : 12);
}

void ExpectUntouched(int signo) {
  struct sigaction action = {};
  sigset_t mask;
  Require(sigaction(signo, nullptr, &action) == 0 && action.sa_handler == SIG_DFL);
  Require(pthread_sigmask(SIG_BLOCK, nullptr, &mask) == 0 && sigismember(&mask, signo) == 0);
}

// Other signals are as whoever runs the test likes them.
SCENARIO(ExpectAnUntouchedProcess) {
  for (const int signo : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP}) {
    ExpectUntouched(signo);
  }
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) ExpectUntouched(signo);
  // The one that the module holds is not passed on.
  Require(fcntl(STDERR_FILENO + 1, F_GETFD) < 0);
  WriteToNull();
}

SCENARIO(FaultHoldingTheLoader) {
  sWhileLoading = WriteToNull;
  dlopen(SLOW_LIBRARY, RTLD_NOW);
}

SCENARIO(FaultWhileAnotherHoldsTheLoader) {
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

}  // namespace crash_test
