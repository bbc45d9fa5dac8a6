// A signal taken from the host for a while: which one, how it is taken, how it is given back.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BORROWED_SIGNAL_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BORROWED_SIGNAL_H_

#include <signal.h>

namespace CrashHandler::machine {

// Taken and given back on one thread. May be used in a signal handler.
class BorrowedSignal {
 public:
  // Installs the action and opens the calling thread to the signal.
  void Take(int signo, const struct sigaction& action);
  // The same without a change of the calling thread's mask, for signals that go to other threads.
  // False, and nothing is taken, when the system does not take the action.
  bool TakeForOthers(int signo, const struct sigaction& action);
  // Leaves the action and the thread's mask as they were found, and drops a signal that is already
  // under way to a thread. Without a signal it does nothing.
  void GiveBack();
  // The same, but what is under way goes to the host's own handler: for a signal that it handles,
  // when none of ours is under way.
  void GiveBackWithPending();
  bool is_taken() const { return signo_ != 0; }
  // What the host had installed; valid since it was taken.
  const struct sigaction& previous() const { return previous_action_; }

 private:
  int signo_ = 0;
  bool mask_changed_ = false;
  struct sigaction previous_action_ = {};
  sigset_t previous_mask_ = {};
};

// The real-time signals of this moment that can be borrowed. For Linux only. May be used in a
// signal handler.
class RealTimeSignals {
 public:
  // Looks at the actions of all of them.
  RealTimeSignals();
  // The best one that is not in `barred` (bit n - 1 stands for signal n): the highest with the
  // default action, else the highest that is ignored, else the highest that the host handles. 0
  // when all are barred.
  int Choose(unsigned long barred) const;
  // The same without those that the host handles or ignores.
  int ChooseUnused(unsigned long barred) const;

 private:
  unsigned long unused_ = 0;
  unsigned long ignored_ = 0;
  unsigned long handled_ = 0;
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BORROWED_SIGNAL_H_
