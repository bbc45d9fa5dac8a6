// Small steps with a signal's action and mask. May be used in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_SIGNAL_ACTION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_SIGNAL_ACTION_H_

#include <signal.h>

namespace CrashHandler::machine {

// Only `signo`, as for a change of the mask.
inline sigset_t MaskOf(int signo) {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, signo);
  return mask;
}

inline void SetDefaultAction(int signo) {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(signo, &action, nullptr);
}

// Whether a function handles the signal, of whichever form.
inline bool HasFunction(const struct sigaction& action) {
  return action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN;
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_SIGNAL_ACTION_H_
