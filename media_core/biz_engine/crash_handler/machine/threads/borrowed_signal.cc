#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"

namespace CrashHandler::machine {

sigset_t MaskOf(int signo) {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, signo);
  return mask;
}

void BorrowedSignal::Take(int signo, const struct sigaction& action) {
  signo_ = signo;
  sigaction(signo, &action, &previous_action_);
  const sigset_t mask = MaskOf(signo);
  pthread_sigmask(SIG_UNBLOCK, &mask, &previous_mask_);
}

void BorrowedSignal::GiveBack() {
  if (signo_ == 0) return;
  // Ignoring drops one that is under way.
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(signo_, &ignore, nullptr);
  sigaction(signo_, &previous_action_, nullptr);
  const sigset_t mask = MaskOf(signo_);
  if (sigismember(&previous_mask_, signo_) == 1) pthread_sigmask(SIG_BLOCK, &mask, nullptr);
  signo_ = 0;
}

}  // namespace CrashHandler::machine
