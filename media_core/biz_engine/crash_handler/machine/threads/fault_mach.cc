#include <sys/ucontext.h>

#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"

namespace CrashHandler::machine {
namespace {

// The processor's exceptions that leave the instruction to be repeated (Intel's manual, volume 3,
// "Exception and Interrupt Reference"): divide error, bound, invalid opcode, invalid segment state,
// absent segment, stack, general protection, page, x87, alignment, SIMD.
constexpr uint32_t kRepeatedVectors = 1U << 0 | 1U << 5 | 1U << 6 | 1U << 10 | 1U << 11 | 1U << 12 |
                                      1U << 13 | 1U << 14 | 1U << 16 | 1U << 17 | 1U << 19;

}  // namespace

// The signal's code does not tell: a general-protection fault comes with 0, a SIGBUS that was sent
// with that of a bad address. How the thread last came into the kernel does: by an exception's
// vector, or by the higher ones of interrupts and system calls.
bool IsFault(int signo, const siginfo_t* /*info*/, const void* context) {
  const bool fault = signo == SIGSEGV || signo == SIGBUS || signo == SIGFPE || signo == SIGILL;
  if (!fault || context == nullptr) return false;
  const unsigned vector = static_cast<const ucontext_t*>(context)->uc_mcontext->__es.__trapno;
  return vector < 32 && (kRepeatedVectors >> vector & 1) != 0;
}

}  // namespace CrashHandler::machine
