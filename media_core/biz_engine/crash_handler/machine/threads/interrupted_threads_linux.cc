#include "media_core/biz_engine/crash_handler/machine/threads/interrupted_threads_linux.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <ucontext.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/capture_limits.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"

// Every thread gets one signal. Its handler finds the thread's place, claims it, copies the
// interrupted registers and waits on a futex until the object is gone. A place's state holds the
// object's generation, so a signal delivered after its object has gone finds nothing to claim and
// returns. The signal carries nothing: a filter on system calls may know no other way to send one
// to a thread than the C library's own. The handler touches nothing of the thread's own: a thread
// made by a bare `clone` may have no thread-local storage.
namespace CrashHandler::machine {

namespace {

constexpr int kSliceMs = 20;
constexpr int kWritingAttempts = 1000;
constexpr int kSignals = 65;

enum Phase : uint64_t { kAsked = 0, kWriting = 1, kReady = 2, kAbandoned = 3 };

struct Place {
  std::atomic<uint64_t> state;  // generation << 2 | phase
  Registers registers;
};

Place sPlaces[InterruptedThreads::kPlaces];
std::atomic<uint32_t> sGeneration{0};
// The generation whose threads stay in their handlers; 0 lets all go. A futex word.
std::atomic<uint32_t> sHolding{0};
// Answers to the current generation, a futex word, and the number that completes it.
std::atomic<uint32_t> sAnswers{0};
std::atomic<uint32_t> sExpected{0};
// What the host does with the signals that are borrowed from it.
struct sigaction sHostActions[kSignals];
BorrowedSignal sBorrowed[kSignals];
// Who was asked at each place, and how many places there are.
std::atomic<ThreadNumber> sNumbers[InterruptedThreads::kPlaces];
std::atomic<size_t> sPlacesUsed{0};

static_assert(std::atomic<uint64_t>::is_always_lock_free && sizeof(std::atomic<uint32_t>) == 4);

uint64_t State(uint32_t generation, Phase phase) {
  return static_cast<uint64_t>(generation) << 2 | phase;
}

// Waits while `word` is `value`, until `deadline_ms` of the monotonic clock.
void FutexWait(std::atomic<uint32_t>* word, uint32_t value, int64_t deadline_ms) {
  struct timespec deadline;
  deadline.tv_sec = static_cast<time_t>(deadline_ms / 1000);
  deadline.tv_nsec = static_cast<long>(deadline_ms % 1000) * 1000000;
  SystemCall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value, &deadline, 0L,
             FUTEX_BITSET_MATCH_ANY);
}

void FutexWakeAll(std::atomic<uint32_t>* word) {
  SystemCall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX);
}

void HoldThread(uint32_t generation) {
  const int64_t deadline = NowMs() + kHoldLimitMs;
  while (sHolding.load(std::memory_order_acquire) == generation && NowMs() < deadline) {
    FutexWait(&sHolding, generation, deadline);
  }
}

// Where the calling thread has been asked; kNoPlace when it has not been.
size_t OwnPlace() {
  const ThreadNumber self = CurrentThreadNumber();
  const size_t used = sPlacesUsed.load(std::memory_order_acquire);
  for (size_t i = 0; i < used; ++i) {
    if (sNumbers[i].load(std::memory_order_relaxed) == self) return i;
  }
  return InterruptedThreads::kNoPlace;
}

// False when nobody has asked.
bool Answer(const ucontext_t& context) {
  const uint32_t generation = sHolding.load(std::memory_order_acquire);
  const size_t index = generation == 0 ? InterruptedThreads::kNoPlace : OwnPlace();
  if (index == InterruptedThreads::kNoPlace) return false;
  Place& place = sPlaces[index];
  uint64_t asked = State(generation, kAsked);
  if (!place.state.compare_exchange_strong(asked, State(generation, kWriting))) return false;
  place.registers = RegistersOf(context);
  place.state.store(State(generation, kReady), std::memory_order_release);
  if (sAnswers.fetch_add(1) + 1 >= sExpected.load()) FutexWakeAll(&sAnswers);
  HoldThread(generation);
  return true;
}

// A borrowed signal that is not ours is the host's.
void PassOn(int signo, siginfo_t* info, void* context) {
  const struct sigaction& host = sHostActions[signo];
  if (!HasFunction(host)) return;
  if ((host.sa_flags & SA_SIGINFO) != 0) {
    host.sa_sigaction(signo, info, context);
  } else {
    host.sa_handler(signo);
  }
}

void OnRegisterSignal(int signo, siginfo_t* info, void* context) {
  const bool ours = info->si_code == SI_TKILL && info->si_pid == SystemCall(SYS_getpid);
  if (!ours || !Answer(*static_cast<const ucontext_t*>(context))) PassOn(signo, info, context);
}

bool Borrow(int signo) {
  if (sBorrowed[signo].is_taken()) return true;
  struct sigaction action = {};
  action.sa_sigaction = &OnRegisterSignal;
  action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
  sigfillset(&action.sa_mask);
  if (sigaction(signo, nullptr, &sHostActions[signo]) != 0) return false;
  return sBorrowed[signo].TakeForOthers(signo, action);
}

// A thread that has not answered may still have the question before it: ours must not come to the
// host's handler, let alone to the default action, which ends the process.
void GiveSignalsBack(bool all_answered) {
  for (BorrowedSignal& signal : sBorrowed) {
    if (!signal.is_taken()) continue;
    if (all_answered) {
      signal.GiveBackWithPending();
    } else {
      signal.GiveBack();
    }
  }
}

// One whose writer was stopped in the middle may be written to at any time: it is passed over.
size_t NextFreePlace(size_t from) {
  while (from < InterruptedThreads::kPlaces && (sPlaces[from].state.load() & 3) == kWriting) ++from;
  return from;
}

uint32_t NextGeneration() {
  uint32_t next = sGeneration.fetch_add(1) + 1;
  if (next == 0) next = sGeneration.fetch_add(1) + 1;  // 0 means that nobody is held
  return next;
}

}  // namespace

InterruptedThreads::InterruptedThreads()
    : generation_(NextGeneration()), process_(static_cast<int>(SystemCall(SYS_getpid))) {
  sAnswers.store(0);
  sPlacesUsed.store(0);
  sExpected.store(UINT32_MAX);
  sHolding.store(generation_, std::memory_order_release);
}

InterruptedThreads::~InterruptedThreads() {
  sHolding.store(0, std::memory_order_release);
  FutexWakeAll(&sHolding);
  GiveSignalsBack(sAnswers.load() >= asked_);
}

// A full signal queue drains as the threads asked before answer.
size_t InterruptedThreads::Ask(ThreadNumber number, unsigned long barred) {
  const size_t place = NextFreePlace(places_used_);
  const int signo = signals_.Choose(barred);
  if (place == kPlaces || signo == 0 || !Borrow(signo)) return kNoPlace;
  sNumbers[place].store(number, std::memory_order_relaxed);
  sPlaces[place].state.store(State(generation_, kAsked));
  places_used_ = place + 1;
  sPlacesUsed.store(places_used_, std::memory_order_release);
  const int64_t deadline = NowMs() + kCaptureQuietMs;
  for (;;) {
    const long result = SystemCall(SYS_tgkill, process_, number, signo);
    if (result == 0) {
      ++asked_;
      return place;
    }
    if (result != -EAGAIN || NowMs() >= deadline) break;
    const struct timespec pause = {0, 1000000};
    SystemCall(SYS_nanosleep, &pause, 0L);
  }
  sPlaces[place].state.store(State(generation_, kAbandoned));
  return kNoPlace;
}

void InterruptedThreads::Wait(int64_t limit_ms, int64_t quiet_ms) {
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
    if (now - last_progress >= quiet_ms || now - start >= limit_ms) return;
    FutexWait(&sAnswers, answers, now + kSliceMs);
    if (NowMs() - now >= kSliceMs) ForgetEndedThreads();
  }
}

// A place that is still open is closed for good; one that is being written gets a moment.
const Registers* InterruptedThreads::Take(size_t place) {
  Place& from = sPlaces[place];
  for (int attempt = 0; attempt < kWritingAttempts; ++attempt) {
    uint64_t state = State(generation_, kAsked);
    if (from.state.compare_exchange_strong(state, State(generation_, kAbandoned))) return nullptr;
    if (state == State(generation_, kReady)) return &from.registers;
    if (state != State(generation_, kWriting)) return nullptr;
    SystemCall(SYS_sched_yield);
  }
  return nullptr;
}

// A thread that ended between the question and its handler never answers.
void InterruptedThreads::ForgetEndedThreads() {
  for (size_t i = 0; i < places_used_; ++i) {
    Place& place = sPlaces[i];
    uint64_t state = State(generation_, kAsked);
    if (place.state.load() != state) continue;
    if (SystemCall(SYS_tgkill, process_, sNumbers[i].load(), 0) == 0) continue;
    if (place.state.compare_exchange_strong(state, State(generation_, kAbandoned))) --asked_;
  }
}

}  // namespace CrashHandler::machine
