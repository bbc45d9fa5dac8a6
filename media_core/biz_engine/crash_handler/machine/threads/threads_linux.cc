#include <linux/futex.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "media_core/biz_engine/crash_handler/machine/threads/registers_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

// How a capture works. Every thread gets one real-time signal that carries the capture's generation
// and the thread's slot. Its handler claims the slot, copies the interrupted registers and waits on
// a futex until the capture is over. A slot's state holds the generation, so a signal delivered
// after its capture gave up finds nothing to claim and returns; slots are never unmapped. Before
// the previous action is put back, an ignored action makes the kernel drop what is still pending in
// threads that block the signal: the default action would end the process when they unblock it.
namespace CrashHandler::machine {

namespace {

constexpr size_t kFirstSlots = 1024;
constexpr int kSliceMs = 20;

enum Phase : uint64_t { kAsked = 0, kWriting = 1, kReady = 2, kAbandoned = 3 };

struct Slot {
  std::atomic<uint64_t> state;  // generation << 2 | phase
  Registers registers;
};

// An array of slots, directly behind its count.
struct Slots {
  size_t count;
  Slot& at(size_t index) { return reinterpret_cast<Slot*>(this + 1)[index]; }
};
static_assert(sizeof(Slots) % alignof(Slot) == 0);

std::atomic<Slots*> sSlots{nullptr};
std::atomic<uint32_t> sGeneration{0};
// The generation whose threads stay in their handlers; 0 lets all go. A futex word.
std::atomic<uint32_t> sHolding{0};
// Answers to the current generation, a futex word, and the number that completes it.
std::atomic<uint32_t> sAnswers{0};
std::atomic<uint32_t> sExpected{0};
// The thread that captures, or 0.
std::atomic<uint32_t> sCapturer{0};

static_assert(std::atomic<uint64_t>::is_always_lock_free && sizeof(std::atomic<uint32_t>) == 4);

uint64_t State(uint32_t generation, Phase phase) {
  return static_cast<uint64_t>(generation) << 2 | phase;
}

int64_t NowMs() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Waits while `word` is `value`, until `deadline_ms` of the monotonic clock.
void FutexWait(std::atomic<uint32_t>* word, uint32_t value, int64_t deadline_ms) {
  struct timespec deadline;
  deadline.tv_sec = static_cast<time_t>(deadline_ms / 1000);
  deadline.tv_nsec = static_cast<long>(deadline_ms % 1000) * 1000000;
  syscall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value, &deadline, nullptr,
          FUTEX_BITSET_MATCH_ANY);
}

void FutexWakeAll(std::atomic<uint32_t>* word) {
  syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX, nullptr, nullptr, 0);
}

void HoldThread(uint32_t generation) {
  const int64_t deadline = NowMs() + kHoldLimitMs;
  while (sHolding.load(std::memory_order_acquire) == generation && NowMs() < deadline) {
    FutexWait(&sHolding, generation, deadline);
  }
}

void Answer(uint32_t generation, uint32_t index, const ucontext_t& context) {
  Slots* slots = sSlots.load(std::memory_order_acquire);
  if (slots == nullptr || index >= slots->count) return;
  Slot& slot = slots->at(index);
  uint64_t asked = State(generation, kAsked);
  if (!slot.state.compare_exchange_strong(asked, State(generation, kWriting))) return;
  slot.registers = RegistersOf(context);
  slot.state.store(State(generation, kReady), std::memory_order_release);
  if (sAnswers.fetch_add(1) + 1 >= sExpected.load()) FutexWakeAll(&sAnswers);
  HoldThread(generation);
}

void OnRegisterSignal(int, siginfo_t* info, void* context) {
  const int saved_errno = errno;
  // A stranger's signal of the same number is not an order to touch a slot.
  if (info->si_code == SI_QUEUE && info->si_pid == getpid()) {
    const auto order = reinterpret_cast<uint64_t>(info->si_value.sival_ptr);
    Answer(static_cast<uint32_t>(order >> 32), static_cast<uint32_t>(order),
           *static_cast<const ucontext_t*>(context));
  }
  errno = saved_errno;
}

// Room for `count` threads. Smaller arrays are left mapped: a late signal may still look at them.
Slots* SlotsFor(size_t count) {
  Slots* slots = sSlots.load(std::memory_order_acquire);
  if (slots != nullptr && slots->count >= count) return slots;
  size_t room = kFirstSlots;
  while (room < count) room *= 2;
  ScratchMemory memory(sizeof(Slots) + room * sizeof(Slot));
  if (memory.data() == nullptr) return nullptr;
  slots = static_cast<Slots*>(memory.Leak());
  slots->count = room;
  sSlots.store(slots, std::memory_order_release);
  return slots;
}

// The highest real-time signal with the default action that the caller does not block: one that
// somebody waits for by `sigwait` has the default action too, but is blocked. 0 when all are used.
int ChooseSignal() {
  sigset_t blocked;
  sigemptyset(&blocked);
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = SIGRTMAX; number >= SIGRTMIN; --number) {
    struct sigaction action = {};
    if (sigismember(&blocked, number) == 1) continue;
    if (sigaction(number, nullptr, &action) != 0) continue;
    const bool plain = (action.sa_flags & SA_SIGINFO) == 0;
    if (plain && action.sa_handler == SIG_DFL) return number;
  }
  return 0;
}

// Holds the handler's place for the time of a capture.
class ScopedRegisterSignal {
 public:
  ScopedRegisterSignal() : number_(ChooseSignal()) {
    if (number_ == 0) return;
    struct sigaction action = {};
    action.sa_sigaction = &OnRegisterSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    if (sigaction(number_, &action, &previous_) != 0) number_ = 0;
  }
  ~ScopedRegisterSignal() {
    if (number_ == 0) return;
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(number_, &ignore, nullptr);
    sigaction(number_, &previous_, nullptr);
  }
  ScopedRegisterSignal(const ScopedRegisterSignal&) = delete;
  ScopedRegisterSignal& operator=(const ScopedRegisterSignal&) = delete;

  int number() const { return number_; }

 private:
  int number_;
  struct sigaction previous_ = {};
};

// Only one thread captures at a time; the others wait a bounded time. A thread that faulted inside
// its own capture gets no second one.
class ScopedCapturer {
 public:
  ScopedCapturer() {
    const ThreadNumber self = CurrentThreadNumber();
    const int64_t deadline = NowMs() + kCaptureLimitMs;
    for (;;) {
      uint32_t owner = 0;
      if (sCapturer.compare_exchange_strong(owner, self)) {
        owned_ = true;
        return;
      }
      if (owner == self || NowMs() >= deadline) return;
      FutexWait(&sCapturer, owner, NowMs() + kSliceMs);
    }
  }
  ~ScopedCapturer() {
    if (!owned_) return;
    sCapturer.store(0);
    FutexWakeAll(&sCapturer);
  }
  ScopedCapturer(const ScopedCapturer&) = delete;
  ScopedCapturer& operator=(const ScopedCapturer&) = delete;

  bool owned() const { return owned_; }

 private:
  bool owned_ = false;
};

class Capture {
 public:
  Capture(const ThreadNumber* numbers, size_t count, Slots* slots, int signal_number)
      : numbers_(numbers),
        count_(count),
        slots_(slots),
        signal_number_(signal_number),
        self_(CurrentThreadNumber()),
        process_(getpid()) {}

  void AskAll() {
    generation_ = NextGeneration();
    sAnswers.store(0);
    sExpected.store(UINT32_MAX);
    sHolding.store(generation_, std::memory_order_release);
    const int64_t deadline = NowMs() + kCaptureQuietMs;
    for (size_t i = 0; i < count_; ++i) {
      slots_->at(i).state.store(State(generation_, kAbandoned));
      if (numbers_[i] != self_) Ask(i, deadline);
    }
  }

  // Until all have answered, or the bounds of the header are reached.
  void WaitForAnswers() {
    const int64_t start = NowMs();
    int64_t last_progress = start;
    uint32_t seen = 0;
    for (;;) {
      sExpected.store(asked_);
      const uint32_t answers = sAnswers.load();
      if (answers >= asked_) return;
      const int64_t now = NowMs();
      if (answers != seen) last_progress = now;
      seen = answers;
      if (now - last_progress >= kCaptureQuietMs || now - start >= kCaptureLimitMs) return;
      FutexWait(&sAnswers, answers, now + kSliceMs);
      if (NowMs() - now >= kSliceMs) ForgetEndedThreads();
    }
  }

  // The thread's registers, or null. A slot that is still open is closed for good; one that is
  // being written gets a moment.
  const Registers* Take(size_t index) {
    Slot& slot = slots_->at(index);
    for (int attempt = 0; attempt < kWritingAttempts; ++attempt) {
      uint64_t state = State(generation_, kAsked);
      if (slot.state.compare_exchange_strong(state, State(generation_, kAbandoned))) return nullptr;
      if (state == State(generation_, kReady)) return &slot.registers;
      if (state != State(generation_, kWriting)) return nullptr;
      sched_yield();
    }
    // Its writer may go on at any time: these slots serve no later capture.
    sSlots.store(nullptr);
    return nullptr;
  }

  static void ReleaseAll() {
    sHolding.store(0, std::memory_order_release);
    FutexWakeAll(&sHolding);
  }

 private:
  static constexpr int kWritingAttempts = 1000;

  static uint32_t NextGeneration() {
    uint32_t next = sGeneration.fetch_add(1) + 1;
    if (next == 0) next = sGeneration.fetch_add(1) + 1;  // 0 means that nobody is held
    return next;
  }

  // A full signal queue drains as the threads asked before answer. A thread that has ended, or that
  // cannot be asked until the deadline, stays closed.
  void Ask(size_t index, int64_t deadline) {
    siginfo_t info = {};
    info.si_signo = signal_number_;
    info.si_code = SI_QUEUE;
    info.si_pid = process_;
    info.si_uid = getuid();
    info.si_value.sival_ptr =
        reinterpret_cast<void*>(static_cast<uint64_t>(generation_) << 32 | index);
    Slot& slot = slots_->at(index);
    slot.state.store(State(generation_, kAsked));
    for (;;) {
      const long result = syscall(SYS_rt_tgsigqueueinfo, process_,
                                  static_cast<pid_t>(numbers_[index]), signal_number_, &info);
      if (result == 0) {
        ++asked_;
        return;
      }
      if (errno != EAGAIN || NowMs() >= deadline) break;
      const struct timespec pause = {0, 1000000};
      nanosleep(&pause, nullptr);
    }
    slot.state.store(State(generation_, kAbandoned));
  }

  // A thread that ended between the question and its handler never answers.
  void ForgetEndedThreads() {
    for (size_t i = 0; i < count_; ++i) {
      Slot& slot = slots_->at(i);
      uint64_t state = State(generation_, kAsked);
      if (slot.state.load() != state) continue;
      if (syscall(SYS_tgkill, process_, static_cast<pid_t>(numbers_[i]), 0) == 0) continue;
      if (slot.state.compare_exchange_strong(state, State(generation_, kAbandoned))) --asked_;
    }
  }

  const ThreadNumber* numbers_;
  size_t count_;
  Slots* slots_;
  int signal_number_;
  ThreadNumber self_;
  pid_t process_;
  uint32_t generation_ = 0;
  uint32_t asked_ = 0;
};

// Without a capture only the calling thread is known.
void VisitSelfOnly(const ThreadNumber* numbers, size_t count, const Registers& own,
                   ThreadVisitor visit, void* context) {
  const ThreadNumber self = CurrentThreadNumber();
  for (size_t i = 0; i < count; ++i) visit(context, i, numbers[i] == self ? &own : nullptr);
}

bool OnlySelf(const ThreadNumber* numbers, size_t count) {
  return count == 0 || (count == 1 && numbers[0] == CurrentThreadNumber());
}

}  // namespace

void PrepareThreads() { SlotsFor(kFirstSlots); }

ThreadNumber CurrentThreadNumber() { return static_cast<ThreadNumber>(syscall(SYS_gettid)); }

bool fillThreadStateIntoMachineContext(ThreadNumber number, Registers* registers) {
  struct Result {
    Registers* registers;
    bool known;
  } result = {registers, false};
  CaptureThreads(
      &number, 1,
      [](void* context, size_t, const Registers* found) {
        auto* out = static_cast<Result*>(context);
        if (found == nullptr) return;
        *out->registers = *found;
        out->known = true;
      },
      &result);
  return result.known;
}

// The caller's own registers are those of this very function, whose frame lives through all visits.
__attribute__((noinline)) void CaptureThreads(const ThreadNumber* numbers, size_t count,
                                              ThreadVisitor visit, void* context) {
  ucontext_t here;
  Registers own = {};
  if (getcontext(&here) == 0) own = RegistersOf(here);
  if (OnlySelf(numbers, count)) return VisitSelfOnly(numbers, count, own, visit, context);
  const ScopedCapturer capturer;
  Slots* slots = capturer.owned() ? SlotsFor(count) : nullptr;
  if (slots == nullptr) return VisitSelfOnly(numbers, count, own, visit, context);
  const ScopedRegisterSignal register_signal;
  if (register_signal.number() == 0) return VisitSelfOnly(numbers, count, own, visit, context);

  Capture capture(numbers, count, slots, register_signal.number());
  capture.AskAll();
  capture.WaitForAnswers();
  const ThreadNumber self = CurrentThreadNumber();
  for (size_t i = 0; i < count; ++i) {
    visit(context, i, numbers[i] == self ? &own : capture.Take(i));
  }
  Capture::ReleaseAll();
}

}  // namespace CrashHandler::machine
