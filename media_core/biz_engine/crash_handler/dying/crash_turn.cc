#include "media_core/biz_engine/crash_handler/dying/crash_turn.h"

#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_end.h"
#include "media_core/biz_engine/crash_handler/dying/crash_rescue.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler {
namespace {

constexpr int kPollMs = 5;
// After the other thread is through, its own end comes first.
constexpr int kGraceMs = 100;
// The same for an exit, which must not come first on a busy machine either.
constexpr int kExitGraceMs = 1000;
constexpr int kRefusalPauseMs = 100;
constexpr int kMaxRefusals = 10;

// The process and the number of the thread that has the turn; 0 when nobody has. A forked child
// gets a copy that names a thread it does not have.
std::atomic<uint64_t> sTurn{0};
static_assert(sizeof(machine::ThreadNumber) == 4 && sizeof(pid_t) == 4, "both fit into one word");
std::atomic<int> sRefusedAllocations{0};
// Of the crash whose deadline runs; else 0.
std::atomic<int> sCrashSignal{0};

void Pause(int milliseconds) {
  const timespec time = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  nanosleep(&time, nullptr);
}

int64_t NowMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

uint64_t TurnOf(machine::ThreadNumber thread) {
  return static_cast<uint64_t>(static_cast<uint32_t>(getpid())) << 32 | thread;
}

bool AnotherThreadHasTurn() {
  const uint64_t turn = sTurn.load(std::memory_order_acquire);
  const uint64_t own = TurnOf(machine::CurrentThreadNumber());
  return turn != own && turn >> 32 == own >> 32;
}

// False when it is still so at the end of the time.
bool AwaitEndOf(bool (*condition)()) {
  const int64_t end = NowMs() + machine::kCrashDeadlineMs;
  while (condition()) {
    if (NowMs() >= end) return false;
    Pause(kPollMs);
  }
  return true;
}

// False when the other thread still has the turn at the end of the time.
bool AwaitOtherThread() {
  if (!AwaitEndOf(AnotherThreadHasTurn)) return false;
  Pause(kGraceMs);
  return true;
}

// What comes after the report is the host's: it may keep the turn for good.
bool AnotherThreadReports() {
  return AnotherThreadHasTurn() && sCrashSignal.load(std::memory_order_acquire) != 0;
}

void SetDefaultAction(int signo) {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(signo, &action, nullptr);
}

}  // namespace

bool TakeCrashTurn(int signo) {
  uint64_t nobody = 0;
  if (!sTurn.compare_exchange_strong(nobody, TurnOf(machine::CurrentThreadNumber()),
                                     std::memory_order_acq_rel)) {
    return false;
  }
  sCrashSignal.store(signo, std::memory_order_release);
  machine::StartCrashDeadline(signo);
  return true;
}

void RescueOwnReport(int signo, const siginfo_t* info, const void* context) {
  const bool fatal = signo == SIGABRT || machine::IsFault(signo, info, context);
  const uint64_t own = TurnOf(machine::CurrentThreadNumber());
  if (fatal && sTurn.load(std::memory_order_acquire) == own) RescueReport();
}

bool IsCrashTurnTaken() {
  return sTurn.load(std::memory_order_acquire) >> 32 == static_cast<uint32_t>(getpid());
}

void EndCrashDeadline() {
  machine::StopCrashDeadline();
  sCrashSignal.store(0, std::memory_order_release);
  ForgetReport();
}

void EndByOwnCrash() {
  const int signo = sCrashSignal.load(std::memory_order_acquire);
  const uint64_t own = TurnOf(machine::CurrentThreadNumber());
  if (signo != 0 && sTurn.load(std::memory_order_acquire) == own) machine::EndBy(signo);
}

void GiveCrashTurnBack() {
  EndCrashDeadline();
  sTurn.store(0, std::memory_order_release);
}

void LeaveToEarlierCrash(int signo, const siginfo_t* info, const void* context) {
  const bool recurs = machine::IsFault(signo, info, context);
  if (!recurs && signo != SIGABRT) return;
  if (AnotherThreadHasTurn() && AwaitOtherThread()) return;
  if (recurs) SetDefaultAction(signo);
}

bool RefuseFailedAllocation() {
  AwaitEndOf(AnotherThreadReports);
  if (sRefusedAllocations.fetch_add(1, std::memory_order_relaxed) == 0) return false;
  Pause(kRefusalPauseMs);
  return sRefusedAllocations.load(std::memory_order_relaxed) > kMaxRefusals;
}

void AwaitReportElsewhere() {
  if (!AnotherThreadReports()) return;
  AwaitEndOf(AnotherThreadReports);
  Pause(kExitGraceMs);
}

}  // namespace CrashHandler
