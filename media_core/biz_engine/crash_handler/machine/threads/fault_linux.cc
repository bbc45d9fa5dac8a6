#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"

namespace CrashHandler::machine {

// A refused system call (SIGSYS) has a positive code as well, but goes on behind the call.
bool IsFault(int signo, const siginfo_t* info, const void* /*context*/) {
  const bool fault = signo == SIGSEGV || signo == SIGBUS || signo == SIGFPE || signo == SIGILL;
  return fault && info != nullptr && info->si_code > 0;
}

bool IsOfInstruction(int signo, const siginfo_t* info, const void* context) {
  if (IsFault(signo, info, context)) return true;
  return signo == SIGTRAP && info != nullptr && info->si_code > 0;
}

bool BlockedFaultEnds() { return true; }

}  // namespace CrashHandler::machine
