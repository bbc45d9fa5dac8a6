#include "media_core/biz_engine/crash_handler/machine/threads/signal_words.h"

#include <signal.h>

namespace CrashHandler::machine {
namespace {

struct Word {
  int signo;
  int code;
  const char* name;
};

// For every signal.
constexpr int kAny = 0;

#define ORU_SIGNAL(name) \
  { name, 0, #name }
#define ORU_CODE(signo, name) \
  { signo, name, #name }

constexpr Word kSignals[] = {
    ORU_SIGNAL(SIGABRT), ORU_SIGNAL(SIGBUS),  ORU_SIGNAL(SIGFPE), ORU_SIGNAL(SIGILL),
    ORU_SIGNAL(SIGPIPE), ORU_SIGNAL(SIGSEGV), ORU_SIGNAL(SIGSYS), ORU_SIGNAL(SIGTRAP),
};

constexpr Word kCodes[] = {
    ORU_CODE(SIGSEGV, SEGV_MAPERR), ORU_CODE(SIGSEGV, SEGV_ACCERR), ORU_CODE(SIGBUS, BUS_ADRALN),
    ORU_CODE(SIGBUS, BUS_ADRERR),   ORU_CODE(SIGBUS, BUS_OBJERR),   ORU_CODE(SIGFPE, FPE_INTDIV),
    ORU_CODE(SIGFPE, FPE_INTOVF),   ORU_CODE(SIGFPE, FPE_FLTDIV),   ORU_CODE(SIGFPE, FPE_FLTOVF),
    ORU_CODE(SIGFPE, FPE_FLTUND),   ORU_CODE(SIGFPE, FPE_FLTRES),   ORU_CODE(SIGFPE, FPE_FLTINV),
    ORU_CODE(SIGFPE, FPE_FLTSUB),   ORU_CODE(SIGILL, ILL_ILLOPC),   ORU_CODE(SIGILL, ILL_ILLOPN),
    ORU_CODE(SIGILL, ILL_ILLADR),   ORU_CODE(SIGILL, ILL_ILLTRP),   ORU_CODE(SIGILL, ILL_PRVOPC),
    ORU_CODE(SIGILL, ILL_PRVREG),   ORU_CODE(SIGILL, ILL_COPROC),   ORU_CODE(SIGILL, ILL_BADSTK),
    ORU_CODE(SIGTRAP, TRAP_BRKPT),  ORU_CODE(SIGTRAP, TRAP_TRACE),  ORU_CODE(kAny, SI_USER),
    ORU_CODE(kAny, SI_QUEUE),       ORU_CODE(kAny, SI_TIMER),       ORU_CODE(kAny, SI_ASYNCIO),
    ORU_CODE(kAny, SI_MESGQ),
};

#undef ORU_SIGNAL
#undef ORU_CODE

}  // namespace

const char* SignalName(int signo) {
  for (const Word& word : kSignals) {
    if (word.signo == signo) return word.name;
  }
  return nullptr;
}

const char* SignalCodeName(int signo, int code) {
  for (const Word& word : kCodes) {
    if ((word.signo == signo || word.signo == kAny) && word.code == code) return word.name;
  }
  return SystemCodeName(signo, code);
}

}  // namespace CrashHandler::machine
