// Faults of the hardware: an exception first, then the signal that the platform makes of it,
// delivered under the action and the mask that the process believes to have set.
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/mach_double/exceptions.h"
#include "tests/mach_double/threads.h"

extern "C" {
int __real_sigaction(int signo, const struct sigaction* action, struct sigaction* old_action);
int __real_pthread_sigmask(int how, const sigset_t* set, sigset_t* old_set);
[[noreturn]] void __real_abort();
}

namespace mach_double {
namespace {

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP};

std::atomic<bool> faults_caught{false};
std::atomic<bool> old_abort{false};

// The actions that the process believes to have set; indexed by signal.
std::array<struct sigaction, NSIG>& Believed() {
  static auto* const actions = new std::array<struct sigaction, NSIG>;
  return *actions;
}

bool IsCaught(int signo) {
  if (!faults_caught) return false;
  for (const int caught : kFaultSignals) {
    if (caught == signo) return true;
  }
  return false;
}

// ---- Masks ----

// The kernel underneath ends a process whose fault is blocked; the platform's leaves it pending. So
// the fault signals are never blocked there, and what the thread believes stands here: one bit a
// signal.
using Bits = uint64_t;
thread_local Bits blocked = 0;
thread_local Bits pending = 0;

Bits BitOf(int signo) { return Bits{1} << signo; }

Bits FaultBitsOf(const sigset_t& set) {
  Bits bits = 0;
  for (const int signo : kFaultSignals) {
    if (sigismember(&set, signo) == 1) bits |= BitOf(signo);
  }
  return bits;
}

Bits Changed(Bits mask, int how, Bits bits) {
  if (how == SIG_SETMASK) return bits;
  return how == SIG_BLOCK ? mask | bits : mask & ~bits;
}

// What was held back and is open now comes at once.
void DeliverPending() {
  for (const int signo : kFaultSignals) {
    if (!(pending & BitOf(signo)) || (blocked & BitOf(signo))) continue;
    pending &= ~BitOf(signo);
    raise(signo);
  }
}

// The stand-in's own signals reach every thread, as the kernel does on the platform.
int ChangeOthers(int how, const sigset_t* set, sigset_t* old_set) {
  if (!set) return __real_pthread_sigmask(how, set, old_set);
  sigset_t others = *set;
  if (how != SIG_UNBLOCK) {
    for (int signo = FirstOwnSignal(); signo <= SIGRTMAX; ++signo) sigdelset(&others, signo);
  }
  return __real_pthread_sigmask(how, &others, old_set);
}

int ChangeMask(int how, const sigset_t* set, sigset_t* old_set) {
  const Bits before = blocked;
  sigset_t others;
  if (set) {
    others = *set;
    for (const int signo : kFaultSignals) sigdelset(&others, signo);
    blocked = Changed(blocked, how, FaultBitsOf(*set));
  }
  const int result = ChangeOthers(how, set ? &others : nullptr, old_set);
  for (const int signo : kFaultSignals) {
    if (old_set && (before & BitOf(signo))) sigaddset(old_set, signo);
  }
  DeliverPending();
  return result;
}

// ---- From the fault to the signal ----

// Raised by the processor, not sent by anyone.
bool IsFromHardware(const siginfo_t& info) { return info.si_code > 0; }

Fault FaultOf(int signo, const siginfo_t& info) {
  const auto address = reinterpret_cast<int64_t>(info.si_addr);
  switch (signo) {
    case SIGILL:
      return {EXC_BAD_INSTRUCTION, EXC_I386_INVOP, 0};
    case SIGFPE:
      return {EXC_ARITHMETIC, EXC_I386_DIV, 0};
    case SIGTRAP:
      return {EXC_BREAKPOINT, EXC_I386_BPT, 0};
    default:
      break;
  }
  if (signo == SIGSEGV && info.si_code == SI_KERNEL) return {EXC_BAD_ACCESS, EXC_I386_GPFLT, 0};
  const bool mapped = signo == SIGBUS || info.si_code == SEGV_ACCERR;
  return {EXC_BAD_ACCESS, mapped ? KERN_PROTECTION_FAILURE : KERN_INVALID_ADDRESS, address};
}

// A page that is there but closed is a bus error to the platform.
int SignalOf(int signo, const Fault& fault) {
  const bool closed_page = fault.type == EXC_BAD_ACCESS && fault.code == KERN_PROTECTION_FAILURE;
  return closed_page ? SIGBUS : signo;
}

[[noreturn]] void EndByDefaultAction(int signo) {
  struct sigaction fallback = {};
  fallback.sa_handler = SIG_DFL;
  __real_sigaction(signo, &fallback, nullptr);
  sigset_t all;
  sigfillset(&all);
  sigdelset(&all, signo);
  __real_pthread_sigmask(SIG_SETMASK, &all, nullptr);
  raise(signo);
  _exit(127);
}

// Calls the handler that the process has set, under its mask.
void CallHandler(int signo, siginfo_t* info, void* context) {
  struct sigaction& believed = Believed().at(static_cast<size_t>(signo));
  const struct sigaction action = believed;
  if ((static_cast<unsigned>(action.sa_flags) & SA_RESETHAND) != 0) believed.sa_handler = SIG_DFL;
  sigset_t mask = action.sa_mask;
  if (!(action.sa_flags & SA_NODEFER)) sigaddset(&mask, signo);
  sigset_t before;
  ChangeMask(SIG_BLOCK, &mask, &before);
  info->si_signo = signo;
  if (action.sa_flags & SA_SIGINFO) {
    action.sa_sigaction(signo, info, context);
  } else {
    action.sa_handler(signo);
  }
  ChangeMask(SIG_SETMASK, &before, nullptr);
}

// A signal that is ignored is not even noted; one that is blocked waits, and the instruction behind
// a fault runs again meanwhile.
void Deliver(int signo, siginfo_t* info, void* context) {
  const auto handler = Believed().at(static_cast<size_t>(signo)).sa_handler;
  if (handler == SIG_IGN) return;
  if (blocked & BitOf(signo)) {
    pending |= BitOf(signo);
    return Tell("signal " + std::to_string(signo) + " stays pending");
  }
  pending &= ~BitOf(signo);
  Tell("signal " + std::to_string(signo));
  if (handler == SIG_DFL) EndByDefaultAction(signo);
  CallHandler(signo, info, context);
}

void OnFault(int signo, siginfo_t* info, void* context) {
  const int saved_errno = errno;
  if (IsFromHardware(*info)) {
    const Fault fault = FaultOf(signo, *info);
    const ScopedFaultState state(StateOf(*static_cast<const ucontext_t*>(context)));
    if (!Offer(fault)) Deliver(SignalOf(signo, fault), info, context);
  } else {
    Deliver(signo, info, context);
  }
  errno = saved_errno;
}

// ---- abort() ----

int BlockingSignal() { return FirstOwnSignal(); }
std::atomic<int> threads_blocked{0};

void OnBlock(int /*signo*/, siginfo_t* /*info*/, void* context) {
  sigfillset(&static_cast<ucontext_t*>(context)->uc_sigmask);
  for (const int signo : kFaultSignals) {
    sigdelset(&static_cast<ucontext_t*>(context)->uc_sigmask, signo);
    blocked |= BitOf(signo);
  }
  ++threads_blocked;
}

// Every other thread blocks everything.
void BlockOtherThreads() {
  struct sigaction action = {};
  action.sa_sigaction = OnBlock;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  __real_sigaction(BlockingSignal(), &action, nullptr);
  int asked = 0;
  const auto own = static_cast<pid_t>(syscall(SYS_gettid));
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    const pid_t tid = std::stoi(entry.path().filename());
    if (tid != own && syscall(SYS_tgkill, getpid(), tid, BlockingSignal()) == 0) ++asked;
  }
  while (threads_blocked < asked) sched_yield();
}

[[noreturn]] void AbortAsTheOldOnes() {
  BlockOtherThreads();
  sigset_t mask;
  sigfillset(&mask);
  sigdelset(&mask, SIGABRT);
  ChangeMask(SIG_SETMASK, &mask, nullptr);
  raise(SIGABRT);
  EndByDefaultAction(SIGABRT);
}

}  // namespace

void CatchHardwareFaults() {
  struct sigaction action = {};
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  for (const int signo : kFaultSignals) {
    __real_sigaction(signo, &action, &Believed().at(static_cast<size_t>(signo)));
  }
  faults_caught = true;
}

uint64_t BlockedFaults() { return blocked; }
void SetBlockedFaults(uint64_t bits) { blocked = bits; }

void UseOldAbort() { old_abort = true; }

}  // namespace mach_double

extern "C" {

// The linker sends the statically linked objects' calls of these three here (--wrap).

int __wrap_sigaction(int signo, const struct sigaction* action, struct sigaction* old_action) {
  if (!mach_double::IsCaught(signo)) return __real_sigaction(signo, action, old_action);
  struct sigaction& believed = mach_double::Believed().at(static_cast<size_t>(signo));
  const struct sigaction before = believed;
  if (action) believed = *action;
  if (old_action) *old_action = before;
  return 0;
}

int __wrap_pthread_sigmask(int how, const sigset_t* set, sigset_t* old_set) {
  if (!mach_double::faults_caught) return mach_double::ChangeOthers(how, set, old_set);
  return mach_double::ChangeMask(how, set, old_set);
}

[[noreturn]] void __wrap_abort() {
  if (mach_double::old_abort) mach_double::AbortAsTheOldOnes();
  __real_abort();
}

}  // extern "C"
