// Faults of one thread, by the processor's and the kernel's kinds.
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "tests/crash_matrix/scenario.h"

// The function's first instruction faults. What stands before it is the host's.
__asm__(
    ".text\n"
    ".p2align 4\n"
    ".globl HostBeforeTheFault\n"
    ".type HostBeforeTheFault,@function\n"
    "HostBeforeTheFault:\n"
    "  ud2\n"
    ".size HostBeforeTheFault, . - HostBeforeTheFault\n"
    ".globl OruRTCFaultsAtOnce\n"
    ".type OruRTCFaultsAtOnce,@function\n"
    "OruRTCFaultsAtOnce:\n"
    "  movl $1, 0\n"
    "  ret\n"
    ".size OruRTCFaultsAtOnce, . - OruRTCFaultsAtOnce\n");
extern "C" void OruRTCFaultsAtOnce();

namespace crash_test {
namespace {

SCENARIO(FaultAtOnce) { OruRTCFaultsAtOnce(); }

SCENARIO(FaultAtOnceAndTheCallbackFaults) {
  Callback([](void*, CrashType) { WriteToNull(); });
  OruRTCFaultsAtOnce();
}

SCENARIO(FaultAtOnceAndTheSinkFaults) {
  Handler()->SetDebugLogSinkCallback(
      [](CrashHandler::CrashHandlerLogLevel, const char*, const char*, int, char* line) {
        if (strstr(line, "Crash stack: ") != nullptr) WriteToNull();
      });
  OruRTCFaultsAtOnce();
}

SCENARIO(FaultAtOnceAndTheCallbackHangs) {
  Callback([](void*, CrashType) { SleepForEver(); });
  OruRTCFaultsAtOnce();
}

size_t PageSize() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }

// A private page with the given protection, one `ret` instruction at its start.
void* MakePage(int protection) {
  void* page =
      mmap(nullptr, PageSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) _exit(kScenarioFailed);
  *static_cast<unsigned char*>(page) = 0xc3;
  if (mprotect(page, PageSize(), protection) != 0) _exit(kScenarioFailed);
  return page;
}

SCENARIO(ReadWildPointer) {
  const volatile int* wild = reinterpret_cast<const int*>(uintptr_t{0x5a5a5a5a5a5a5a5a});
  printf("%d\n", *wild);
}

// Not inlined, and something follows: the caller must have a frame to be found.
CHILD_FUNCTION void CallThrough(uintptr_t address) {
  auto* volatile target = reinterpret_cast<void (*)()>(address);
  target();
  fputs("came back\n", stderr);
}

SCENARIO(CallThroughNull) { CallThrough(0); }
SCENARIO(CallThroughGarbage) { CallThrough(0x5a5a5a5a5a5a); }
// An address that no pointer can have: the call faults before it is made.
SCENARIO(CallThroughNonCanonical) { CallThrough(0x5a5a5a5a5a5a5a5a); }
SCENARIO(JumpIntoData) {
  CallThrough(reinterpret_cast<uintptr_t>(MakePage(PROT_READ | PROT_WRITE)));
}

SCENARIO(WriteToReadOnlyPage) { *static_cast<volatile char*>(MakePage(PROT_READ)) = 1; }

// A mapped file that is cut under the mapping.
SCENARIO(ReadTruncatedMap) {
  FILE* file = tmpfile();
  if (file == nullptr || ftruncate(fileno(file), static_cast<off_t>(PageSize())) != 0) {
    _exit(kScenarioFailed);
  }
  void* bytes = mmap(nullptr, PageSize(), PROT_READ, MAP_SHARED, fileno(file), 0);
  if (bytes == MAP_FAILED || ftruncate(fileno(file), 0) != 0) _exit(kScenarioFailed);
  printf("%d\n", *static_cast<const volatile char*>(bytes));
}

// Not the first instruction: a frame's name is looked up one byte before its address.
SCENARIO(IllegalInstruction) {
  volatile int number = 1;
  if (number != 0) __builtin_trap();
}

SCENARIO(Breakpoint) { __builtin_debugtrap(); }

// From now on the kernel answers one system call in that way (SECCOMP_RET_...).
void FilterCall(unsigned call, unsigned answer) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, answer),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program = {sizeof rules / sizeof *rules, rules};
  Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
          prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0);
}

// The kernel sends SIGSYS for one call that the filter traps; it is one that nothing else needs.
SCENARIO(ForbiddenSystemCall) {
  FilterCall(SYS_getpriority, SECCOMP_RET_TRAP);
  syscall(SYS_getpriority, 0, 0);
}

// The process has locked itself up since the installation: reading its own memory by that call ends
// it.
SCENARIO(FaultUnderAFilterOfSystemCalls) {
  FilterCall(SYS_process_vm_readv, SECCOMP_RET_KILL_PROCESS);
  WriteToNull();
}

SCENARIO(Abort) { abort(); }

SCENARIO(RaisePipe) { raise(SIGPIPE); }
SCENARIO(RaiseSegv) { raise(SIGSEGV); }

// Another process sends it while this thread waits.
SCENARIO(SentByAnotherProcess) {
  const pid_t target = getpid();
  const pid_t sender = fork();
  if (sender == 0) {
    kill(target, SIGBUS);
    _exit(0);
  }
  int status = 0;
  while (waitpid(sender, &status, 0) < 0) {
  }
}

}  // namespace

REGISTER_SCENARIO(WriteToNull);
REGISTER_SCENARIO(DivideByZero);

}  // namespace crash_test
