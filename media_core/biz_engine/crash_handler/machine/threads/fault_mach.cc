#include <sys/ucontext.h>

#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_state_mach.h"

namespace CrashHandler::machine {

// The signal's code does not tell: a general-protection fault comes with 0, a SIGBUS that was sent
// with that of a bad address, a SIGTRAP always with that of a breakpoint. How the thread last came
// into the kernel does.
bool IsFault(int signo, const siginfo_t* /*info*/, const void* context) {
  const bool fault =
      signo == SIGSEGV || signo == SIGBUS || signo == SIGFPE || signo == SIGILL || signo == SIGTRAP;
  if (!fault || context == nullptr) return false;
  return LastEntryRepeats(static_cast<const ucontext_t*>(context)->uc_mcontext);
}

bool IsOfInstruction(int signo, const siginfo_t* info, const void* context) {
  if (IsFault(signo, info, context)) return true;
  if (signo != SIGTRAP || context == nullptr) return false;
  return LastEntryTraps(static_cast<const ucontext_t*>(context)->uc_mcontext);
}

FaultAccess AccessOfFault(int signo, const siginfo_t* info, const void* context) {
  if (!IsFault(signo, info, context)) return FaultAccess::kUnknown;
  return LastEntryAccess(static_cast<const ucontext_t*>(context)->uc_mcontext);
}

bool BlockedFaultEnds() { return false; }

}  // namespace CrashHandler::machine
