// Crash capture beside other crash reporters and runtimes that live on signals. Nothing here
// happens unless it is called; without it installation, crash and uninstallation are as
// crash_handler_proxy.h says.
//
// A runtime that faults in normal work (null checks, safepoints, traps of compiled code) keeps its
// faults with one call behind both installations, in whichever order they came:
//
//   handler->InstallCrashHandler();
//   CrashHandler::StandInFrontOf(nullptr);
//
// As a guest in another reporter, without a signal handler of its own:
//
//   CrashHandler::ChooseSignals(nullptr, 0);
//   handler->InstallCrashHandler();
//   ...
//   void OnCrashOfTheOther(int signo, siginfo_t* info, void* context) {
//     CrashHandler::ReportCrash(signo, info, context);
//   }
//
// All but ReportCrash and IsCodeOfNoImage are for the thread that installs, one at a time, and not
// for signal handlers.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_NEIGHBOURS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_NEIGHBOURS_H_

#include <signal.h>

#include <cstddef>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace CrashHandler {

// ---- Which signals an installation takes ----

// From the next installation on only those of the eight that are named are taken; null and 0 for
// none. The others are never touched, neither by uninstalling nor after a crash. Copied.
void ChooseSignals(const int* signals, size_t count);
// All eight again, as without a choice.
void ChooseAllSignals();
// Whether the next installation leaves signals alone that are ignored then, SIGPIPE first of all.
// Off at the start.
void KeepIgnoredSignals(bool keep);

// ---- In front of a runtime ----

// Whether the fault at `instruction` is one of the runtime's own, which it repairs. Called in the
// handler of the signal, on whatever stack that has: async-signal-safe, a few hundred bytes.
// `info` is the handler's; `instruction` is where the code was interrupted, behind it for a trap.
using RuntimeFaultRule = bool (*)(int signo, const siginfo_t* info, const void* instruction);

// Puts one handler in front of each handler for faults (SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP)
// that somebody installed before or after this module. It has the mask and the flags of the one
// behind it and runs on the same stack. A fault goes straight to that one when its instruction is
// in code made at run time (IsCodeOfNoImage), or when the rule, which may be null, says so; any
// other signal is handled as a crash, after which the one behind has its turn as a predecessor.
// Signals that were raised or sent are never the runtime's.
//
// Again is fine: the rule is replaced, and handlers installed meanwhile are stood in front of.
// Uninstalling puts the handlers behind back. False, and nothing happens, before an installation;
// false too when nobody else has such a handler.
bool StandInFrontOf(RuntimeFaultRule is_runtimes);

// Whether the address is in no executable or library that the system's loader has loaded: code that
// a runtime compiled, or nothing at all. May run in a signal handler.
bool IsCodeOfNoImage(const void* address);

// ---- Who holds what ----

enum class Holder {
  kOurs,       // this module, also where it stands in front
  kSomebodys,  // another function
  kDefault,    // nobody
  kIgnored,    // a signal that is ignored
};

// Who has one of the signals or hooks.
struct HookState {
  // "SIGSEGV" and the other seven in order; "uncaught exception", "terminate", "new".
  std::string name;
  Holder holder = Holder::kDefault;
  // Of kSomebodys: where its function is, and the symbol as it stands in the image; empty where
  // unknown.
  std::string image;
  std::string symbol;
  // Somebody took it after this module's installation did; false when it was never the module's.
  bool taken_after_us = false;
  // Whom the module replaced, and with its image and symbol: who has it "before".
  Holder before = Holder::kDefault;
  std::string before_image;
  std::string before_symbol;
};

// The eight signals and the three hooks, in that order. Each also goes to the module's log, a line
// each.
std::vector<HookState> WhoHoldsWhat();

// Takes back the signals and hooks that somebody has taken since the installation; he is then the
// predecessor, and uninstalling puts him back. Signals that are ignored now stay so. Where the
// module stands in front it does so again. The number of what was taken back, each with a line of
// the log; 0 without an installation.
int Rearm();

// Uninstalls, but gives back only what is still the module's: what somebody has taken since stays
// his, and the module remains behind it with its own predecessor. Where there was nobody before,
// nobody is there afterwards. The number of what was given back, each with a line of the log.
int Leave();

// ---- By invitation ----

// Writes the ordinary report from inside another reporter's handler or callback, the crash callback
// first, and touches no handler. The arguments are those of a signal handler; `info` and `context`
// may be null, the report then shows the stack of the call. Of a process's crashes only the first
// is reported, however it is noticed. False when one was handled before. The report has to concern
// the SDK, as ever. May run in a signal handler; it needs at most 2 KiB of the stack that it is
// called on, provided that the module is installed (with or without signals).
bool ReportCrash(int signo, siginfo_t* info, void* context);

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_NEIGHBOURS_H_
