#include <ucontext.h>

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

// The kernel hands out what the thread's last exception left: that of an earlier one, where this
// signal is of none.
FaultAccess AccessOfFault(int signo, const siginfo_t* info, const void* context) {
  if (context == nullptr || !IsFault(signo, info, context)) return FaultAccess::kUnknown;
  const auto& registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
  return AccessOfVector(static_cast<unsigned>(registers[REG_TRAPNO]),
                        static_cast<uint64_t>(registers[REG_ERR]));
}

bool BlockedFaultEnds() { return true; }

}  // namespace CrashHandler::machine
