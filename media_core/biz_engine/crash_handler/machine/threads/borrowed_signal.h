// A signal taken from the host for a while.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BORROWED_SIGNAL_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BORROWED_SIGNAL_H_

#include <signal.h>

namespace CrashHandler::machine {

// Taken and given back on one thread. May be used in a signal handler.
class BorrowedSignal {
 public:
  // Installs the action and opens the calling thread to the signal.
  void Take(int signo, const struct sigaction& action);
  // Leaves the action and the thread's mask as they were found, and drops a signal that is already
  // under way to a thread. Without a signal it does nothing.
  void GiveBack();
  bool is_taken() const { return signo_ != 0; }

 private:
  int signo_ = 0;
  struct sigaction previous_action_ = {};
  sigset_t previous_mask_ = {};
};

// Only `signo`, as for a change of the mask.
sigset_t MaskOf(int signo);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BORROWED_SIGNAL_H_
