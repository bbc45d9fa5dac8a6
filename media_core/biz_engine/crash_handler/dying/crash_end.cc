#include "media_core/biz_engine/crash_handler/dying/crash_end.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"

namespace CrashHandler::machine {
namespace {

std::atomic<int> sRescueMs{kCrashRescueMs};
// Written by the starting thread only; the expiry handlers, on any thread, read it.
std::atomic<int> sSignal{0};
std::atomic<bool (*)()> sRescue{nullptr};

}  // namespace

void SetCrashEnd(int signo) { sSignal.store(signo, std::memory_order_release); }

int CrashEnd() { return sSignal.load(std::memory_order_acquire); }

int CrashRescueTimeMs() { return std::max(1, sRescueMs.load(std::memory_order_relaxed)); }

bool RescueCrash() {
  bool (*const rescue)() = sRescue.load();
  return rescue == nullptr || rescue();
}

void EndBy(int signo) {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(signo, &action, nullptr);
  const sigset_t mask = MaskOf(signo);
  pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
  pthread_kill(pthread_self(), signo);
  _exit(128 + signo);
}

void SetCrashRescue(bool (*rescue)()) { sRescue.store(rescue); }

void SetCrashRescueTimeForTesting(int milliseconds) {
  sRescueMs.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace CrashHandler::machine
