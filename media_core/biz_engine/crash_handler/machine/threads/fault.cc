#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"

namespace CrashHandler::machine {

bool IsFatal(int signo, const siginfo_t* info, const void* context) {
  return signo == SIGABRT || IsFault(signo, info, context);
}

bool AddressOfFault(int signo, const siginfo_t* info, const void* context, uint64_t* address) {
  if (!IsOfInstruction(signo, info, context)) return false;
  const bool of_memory = signo == SIGSEGV || signo == SIGBUS;
  // A faulty address itself (one that no pointer can have) is not told.
  if (of_memory && AccessOfFault(signo, info, context) == FaultAccess::kUnknown) return false;
  if (info == nullptr) return false;
  *address = reinterpret_cast<uintptr_t>(info->si_addr);
  return true;
}

}  // namespace CrashHandler::machine
