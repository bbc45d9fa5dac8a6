// A signal that the module's own writing may raise. Not for other users.
#ifndef UTILS_SHARED_HELD_SIGNAL_H_
#define UTILS_SHARED_HELD_SIGNAL_H_

#include <pthread.h>
#include <signal.h>

namespace tessik::shared {

// Within the scope a write that would raise the signal (SIGPIPE: nobody reads; SIGXFSZ: the file is
// too large) only fails. At the end one that the scope's writes have raised is taken away; one that
// was pending before stays. For the calling thread; may be used in a signal handler.
class HeldSignal {
 public:
  explicit HeldSignal(int signo) : pending_before_(IsPending(signo)), signo_(signo) {
    sigemptyset(&only_);
    sigaddset(&only_, signo);
    pthread_sigmask(SIG_BLOCK, &only_, &mask_);
  }
  ~HeldSignal() {
    int taken = 0;
    if (!pending_before_ && IsPending(signo_)) sigwait(&only_, &taken);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }
  HeldSignal(const HeldSignal&) = delete;
  HeldSignal& operator=(const HeldSignal&) = delete;

 private:
  static bool IsPending(int signo) {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signo) == 1;
  }

  const bool pending_before_;
  const int signo_;
  sigset_t only_;
  sigset_t mask_;
};

}  // namespace tessik::shared

#endif  // UTILS_SHARED_HELD_SIGNAL_H_
