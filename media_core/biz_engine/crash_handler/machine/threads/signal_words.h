// The names that signals and their codes have in the system's headers. May run in a signal handler;
// the results are literals.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_SIGNAL_WORDS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_SIGNAL_WORDS_H_

namespace CrashHandler::machine {

// "SIGSEGV"; null for a signal that crash capture does not know.
const char* SignalName(int signo);

// "SEGV_MAPERR"; null for a code without a name. Why a signal came is told by both.
const char* SignalCodeName(int signo, int code);

// The same for codes that only this system has.
const char* SystemCodeName(int signo, int code);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_SIGNAL_WORDS_H_
