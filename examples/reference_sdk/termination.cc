#include "examples/reference_sdk/termination.h"

#include <signal.h>

#include <atomic>
#include <mutex>

namespace reference_sdk {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
constexpr int kSignalCount = sizeof kSignals / sizeof kSignals[0];

std::atomic<int> sRequested{0};
static_assert(std::atomic<int>::is_always_lock_free, "stored to by a signal handler");

std::mutex sMutex;
int sUsers = 0;             // Guarded by sMutex.
bool sTaken[kSignalCount];  // Guarded by sMutex.

void Request(int signal) { sRequested.store(signal); }

void TakeSignals() {
  for (int i = 0; i < kSignalCount; ++i) {
    struct sigaction before {};
    sTaken[i] = sigaction(kSignals[i], nullptr, &before) == 0 &&
                (before.sa_flags & SA_SIGINFO) == 0 && before.sa_handler == SIG_DFL;
    if (!sTaken[i]) continue;
    struct sigaction mine {};
    mine.sa_handler = Request;
    sigemptyset(&mine.sa_mask);
    sigaction(kSignals[i], &mine, nullptr);
  }
}

void GiveSignalsBack() {
  for (int i = 0; i < kSignalCount; ++i) {
    if (sTaken[i]) signal(kSignals[i], SIG_DFL);
  }
}

}  // namespace

Termination::Termination() {
  const std::lock_guard<std::mutex> lock(sMutex);
  if (sUsers++ == 0) TakeSignals();
}

Termination::~Termination() {
  const std::lock_guard<std::mutex> lock(sMutex);
  if (--sUsers > 0) return;
  GiveSignalsBack();
  const int requested = sRequested.exchange(0);
  if (requested != 0) raise(requested);
}

bool Termination::Requested() { return sRequested.load() != 0; }

}  // namespace reference_sdk
