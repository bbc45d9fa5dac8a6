#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"

namespace CrashHandler::machine {
namespace {

constexpr unsigned long Bit(int signo) { return 1UL << (signo - 1); }

int Highest(unsigned long signals) { return signals == 0 ? 0 : 64 - __builtin_clzl(signals); }

}  // namespace

RealTimeSignals::RealTimeSignals() {
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
    struct sigaction action = {};
    if (sigaction(signo, nullptr, &action) != 0) continue;
    const bool plain = (action.sa_flags & SA_SIGINFO) == 0;
    if (plain && action.sa_handler == SIG_DFL) {
      unused_ |= Bit(signo);
    } else if (plain && action.sa_handler == SIG_IGN) {
      ignored_ |= Bit(signo);
    } else {
      handled_ |= Bit(signo);
    }
  }
}

int RealTimeSignals::Choose(unsigned long barred) const {
  const unsigned long kinds[] = {unused_, ignored_, handled_};
  for (const unsigned long kind : kinds) {
    if ((kind & ~barred) != 0) return Highest(kind & ~barred);
  }
  return 0;
}

int RealTimeSignals::ChooseUnused(unsigned long barred) const { return Highest(unused_ & ~barred); }

}  // namespace CrashHandler::machine
