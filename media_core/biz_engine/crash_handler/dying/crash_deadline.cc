#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "media_core/biz_engine/crash_handler/machine/threads/kill_timer.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler {
namespace {

constexpr int kKillAfterMs = 1000;
// An ordinary report takes a tenth of it, unless other threads have the processors.
constexpr int kLateMs = 1000;

std::atomic<int> sRescueMs{kCrashRescueMs};

// Counts deadlines, started and stopped: a helper that finds another number than its own has no
// deadline to watch any more.
std::atomic<uint32_t> sRunning{0};
uint32_t sWatched = 0;
machine::ThreadNumber sCrashed = 0;
CrashDeadline sDeadline;

int KillTime() { return sRescueMs.load() + kCrashDeadlineMs - kCrashRescueMs + kKillAfterMs; }

void Watch() {
  const uint32_t own = sWatched;
  const CrashDeadline deadline = sDeadline;
  const int rescue_ms = sRescueMs.load();
  const int late_ms = std::min(kLateMs, rescue_ms);
  if (machine::HelperWait(&sRunning, own, late_ms)) return;
  if (!deadline.may_be_survived) machine::PutOthersBehind(sCrashed);
  if (machine::HelperWait(&sRunning, own, rescue_ms - late_ms)) return;
  if (!deadline.rescue() &&
      machine::HelperWait(&sRunning, own, kCrashDeadlineMs - kCrashRescueMs)) {
    return;
  }
  deadline.end();
}

}  // namespace

bool StartCrashDeadline(const CrashDeadline& deadline) {
  StopCrashDeadline();
  const bool killed = machine::StartKillTimer(KillTime());
  // The helper of an earlier deadline may still have to read what it was to watch.
  if (!machine::AwaitHelperThread()) return killed;
  sDeadline = deadline;
  sCrashed = machine::CurrentThreadNumber();
  sWatched = sRunning.fetch_add(1) + 1;
  return machine::StartHelperThread(&Watch) || killed;
}

void StopCrashDeadline() {
  machine::StopKillTimer();
  sRunning.fetch_add(1);
  machine::WakeHelper(&sRunning);
}

void SetCrashRescueTimeForTesting(int milliseconds) { sRescueMs.store(std::max(1, milliseconds)); }

}  // namespace CrashHandler
