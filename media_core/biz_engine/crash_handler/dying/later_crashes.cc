#include "media_core/biz_engine/crash_handler/dying/later_crashes.h"

#include <atomic>
#include <cstdlib>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"

namespace CrashHandler {
namespace {

constexpr int kPollMs = 5;
// After the other thread is through, its own end comes first: also on a busy machine, and after an
// older handler or an exit's handlers that take a moment.
constexpr int kGraceMs = 1000;
constexpr int kRefusalPauseMs = 100;
constexpr int kMaxRefusals = 10;

std::atomic<int> sRefusedAllocations{0};

// False when the other thread still has the crash at the end of the time.
bool AwaitOtherThread() {
  if (!machine::WaitWhile(IsCrashOfAnotherThread, kCrashDeadlineMs, kPollMs)) return false;
  machine::PauseMs(kGraceMs);
  return true;
}

// Within the deadline, and then for the end that may follow.
void AwaitReportElsewhere() {
  if (!AnotherThreadReports()) return;
  machine::WaitWhile(AnotherThreadReports, kCrashDeadlineMs, kPollMs);
  machine::PauseMs(kGraceMs);
}

// With the module in a library that is closed, both come then: its code is in use until the report
// is done.
[[gnu::destructor]] void HoldEndOfExit() { AwaitReportElsewhere(); }

}  // namespace

void RescueOwnReport(int signo, const siginfo_t* info, const void* context) {
  if (machine::IsFatal(signo, info, context) && IsOwnCrash()) RescueReport(context);
}

void LeaveToEarlierCrash(int signo, const siginfo_t* info, const void* context) {
  if (!machine::IsFatal(signo, info, context)) return;
  if (IsCrashOfAnotherThread() && AwaitOtherThread()) return;
  // It recurs.
  if (machine::IsFault(signo, info, context)) machine::SetDefaultAction(signo);
}

bool RefuseFailedAllocation() {
  machine::WaitWhile(AnotherThreadReports, kCrashDeadlineMs, kPollMs);
  if (sRefusedAllocations.fetch_add(1, std::memory_order_relaxed) == 0) return false;
  machine::PauseMs(kRefusalPauseMs);
  return sRefusedAllocations.load(std::memory_order_relaxed) > kMaxRefusals;
}

void HoldExitDuringCrash() {
  [[maybe_unused]] static const int registered = atexit(AwaitReportElsewhere);
}

}  // namespace CrashHandler
