#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"

#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"

namespace CrashHandler::machine {

void BorrowedSignal::Take(int signo, const struct sigaction& action) {
  TakeForOthers(signo, action);
  signo_ = signo;
  mask_changed_ = true;
  const sigset_t mask = MaskOf(signo);
  pthread_sigmask(SIG_UNBLOCK, &mask, &previous_mask_);
}

bool BorrowedSignal::TakeForOthers(int signo, const struct sigaction& action) {
  if (sigaction(signo, &action, &previous_action_) != 0) return false;
  signo_ = signo;
  mask_changed_ = false;
  return true;
}

void BorrowedSignal::GiveBack() {
  if (signo_ == 0) return;
  // Ignoring drops one that is under way.
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(signo_, &ignore, nullptr);
  GiveBackWithPending();
}

void BorrowedSignal::GiveBackWithPending() {
  if (signo_ == 0) return;
  sigaction(signo_, &previous_action_, nullptr);
  const sigset_t mask = MaskOf(signo_);
  const bool was_blocked = mask_changed_ && sigismember(&previous_mask_, signo_) == 1;
  if (was_blocked) pthread_sigmask(SIG_BLOCK, &mask, nullptr);
  signo_ = 0;
}

}  // namespace CrashHandler::machine
