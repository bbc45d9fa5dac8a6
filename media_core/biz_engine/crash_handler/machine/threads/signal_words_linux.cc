#include <signal.h>

#include "media_core/biz_engine/crash_handler/machine/threads/signal_words.h"

namespace CrashHandler::machine {
namespace {

// The C library's headers have no name for it.
constexpr int kRefusedByFilter = 1;

}  // namespace

const char* SystemCodeName(int signo, int code) {
  if (code == SI_KERNEL) return "SI_KERNEL";
  if (code == SI_TKILL) return "SI_TKILL";
  if (signo == SIGSEGV && code == SEGV_BNDERR) return "SEGV_BNDERR";
  if (signo == SIGSEGV && code == SEGV_PKUERR) return "SEGV_PKUERR";
  if (signo == SIGBUS && code == BUS_MCEERR_AR) return "BUS_MCEERR_AR";
  if (signo == SIGBUS && code == BUS_MCEERR_AO) return "BUS_MCEERR_AO";
  if (signo == SIGTRAP && code == TRAP_HWBKPT) return "TRAP_HWBKPT";
  if (signo == SIGSYS && code == kRefusedByFilter) return "SYS_SECCOMP";
  return nullptr;
}

}  // namespace CrashHandler::machine
