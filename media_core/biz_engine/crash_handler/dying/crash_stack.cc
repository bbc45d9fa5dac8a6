#include "media_core/biz_engine/crash_handler/dying/crash_stack.h"

#include <execinfo.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_reserve.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/call_on_stack.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler {
namespace {

// The process in which a thread is on the stack: a forked child has that thread's copy only if it
// is the one that forked.
std::atomic<pid_t> sCrashStackUser{0};
std::atomic<pid_t> sRefusalStackUser{0};

bool Take(std::atomic<pid_t>* user) {
  const pid_t own = getpid();
  pid_t before = user->load();
  return before != own && user->compare_exchange_strong(before, own);
}

// Takes a stack for the calling thread; null when both are taken for as long as a crash may last.
const CrashStack* TakeStack(std::atomic<pid_t>** user) {
  const CrashStack* stack = nullptr;
  machine::WaitWhile(
      [&] {
        if (Take(&sCrashStackUser)) {
          *user = &sCrashStackUser;
          stack = &ReservedStacks().crash;
        } else if (Take(&sRefusalStackUser)) {
          *user = &sRefusalStackUser;
          stack = &ReservedStacks().refusal;
        }
        return stack == nullptr;
      },
      kCrashDeadlineMs, 1);
  return stack;
}

bool IsOnOwnStack() {
  const void* const here = __builtin_frame_address(0);
  const CrashStacks& stacks = ReservedStacks();
  return stacks.crash.Holds(here) || stacks.faults.Holds(here) || stacks.refusal.Holds(here);
}

sigset_t AllSignals() {
  sigset_t all;
  sigfillset(&all);
  return all;
}

void OpenFaults(sigset_t* mask) {
  for (const int signo : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) {
    sigdelset(mask, signo);
  }
}

struct Work {
  void (*run)(void* argument);
  void* argument;
  const CrashStack* stack;  // null: where the thread is
  sigset_t mask;
};

// The thread's alternate stack, while it is on one of ours. Left as it is, it would be written from
// its top on by the next signal, over the frame of this one.
class AlternateStack {
 public:
  explicit AlternateStack(const CrashStack* current) {
    stack_t own = {};
    if (current == &ReservedStacks().crash) {
      own.ss_sp = ReservedStacks().faults.bottom;
      own.ss_size = ReservedStacks().faults.size;
    } else {
      own.ss_flags = SS_DISABLE;
    }
    replaced_ = current != nullptr && sigaltstack(&own, &previous_) == 0;
  }
  ~AlternateStack() {
    if (replaced_) sigaltstack(&previous_, nullptr);
  }
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;

 private:
  stack_t previous_ = {};
  bool replaced_;
};

void RunWork(void* work_argument) {
  const auto* const work = static_cast<const Work*>(work_argument);
  const AlternateStack alternate(work->stack);
  pthread_sigmask(SIG_SETMASK, &work->mask, nullptr);
  work->run(work->argument);
  const sigset_t all = AllSignals();
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

// Not inlined: it is one frame of every stack that CaptureCrashFrames looks at.
__attribute__((noinline)) void RunOnCrashStack(void (*run)(void* argument), void* argument) {
  Work work = {run, argument, nullptr, AllSignals()};
  pthread_sigmask(SIG_SETMASK, &work.mask, &work.mask);
  std::atomic<pid_t>* user = nullptr;
  // A fault of a fault's handling comes here once, not without end.
  const bool nested = IsOnOwnStack();
  if (!nested) OpenFaults(&work.mask);
  if (!nested && ReservedStacks().crash.bottom != nullptr) work.stack = TakeStack(&user);
  void* const top = work.stack != nullptr ? work.stack->bottom + work.stack->size : nullptr;
  machine::OruCallOnStack(top, &RunWork, &work);
  if (user != nullptr) user->store(0);
  pthread_sigmask(SIG_SETMASK, &work.mask, nullptr);
}

__attribute__((noinline)) int CaptureCrashFrames(void** frames, int room) {
  // What lies between the hook and here.
  constexpr int kMostOwn = 8;
  void* all[machine::kMaxCrashFrames + kMostOwn];
  auto count = static_cast<int>(machine::CaptureDamagedStack(all, std::size(all)));
  if (count == 0) count = backtrace(all, static_cast<int>(std::size(all)));
  void** const own_end = all + std::min(count, kMostOwn);
  // Behind OruCallOnStack comes RunOnCrashStack; without them the first frame is this function's.
  void** first = std::find_if(all, own_end, machine::IsInCallOnStack);
  first = first != own_end ? first + 2 : all + 1;
  first = std::min(first, all + count);
  count = std::min(static_cast<int>(all + count - first), room);
  memcpy(frames, first, static_cast<size_t>(count) * sizeof *frames);
  return count;
}

}  // namespace CrashHandler
