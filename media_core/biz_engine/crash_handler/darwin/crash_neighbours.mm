#include "media_core/biz_engine/crash_handler/crash_neighbours.h"

#include <cstdint>
#include <cstring>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_hooks.h"
#include "media_core/biz_engine/crash_handler/darwin/front_handler.h"
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"
#include "media_core/biz_engine/crash_handler/darwin/signal_choice.h"
#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_words.h"
#include "media_core/biz_engine/crash_handler/tools/crash_log.h"

namespace CrashHandler {
namespace {

constexpr int kFaultSignals[] = {SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP};

constexpr char kExceptionHookName[] = "uncaught exception";
constexpr char kTerminateHookName[] = "terminate";
constexpr char kNewHookName[] = "new";

// The language's own; there is always one.
const std::terminate_handler kFirstTerminateHandler = std::get_terminate();

DarwinCrashHandler* TheHandler() {
  return static_cast<DarwinCrashHandler*>(CrashHandlerProxy::CreateCrashHandler());
}

struct sigaction CurrentAction(int signo) {
  struct sigaction now = {};
  sigaction(signo, nullptr, &now);
  return now;
}

bool IsOurs(const struct sigaction& action) {
  return IsFront(action) || (machine::HasFunction(action) && action.sa_sigaction == SignalHook());
}

size_t IndexOf(int signo) {
  size_t index = 0;
  while (kExceptionSignals[index] != signo) ++index;
  return index;
}

Holder HolderOf(const struct sigaction& action) {
  if (IsOurs(action)) return Holder::kOurs;
  if (action.sa_handler == SIG_IGN) return Holder::kIgnored;
  return action.sa_handler == SIG_DFL ? Holder::kDefault : Holder::kSomebodys;
}

Holder HolderOf(const void* function, const void* ours) {
  if (function == nullptr) return Holder::kDefault;
  return function == ours ? Holder::kOurs : Holder::kSomebodys;
}

void NameFunction(const void* function, std::string* image, std::string* symbol) {
  machine::Symbolizer symbolizer;
  machine::SymbolInformation found;
  if (!symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(function), &found)) return;
  if (found.dli_fname != nullptr) *image = found.dli_fname;
  if (found.dli_sname != nullptr) *symbol = found.dli_sname;
}

// Who has a hook now, and whom the module replaced; null where nobody is.
struct Found {
  Holder holder;
  const void* function;
  Holder before;
  const void* before_function;
};

HookState Describe(const char* name, const Found& found, bool was_taken) {
  HookState state;
  state.name = name;
  state.holder = found.holder;
  state.before = found.before;
  state.taken_after_us = was_taken && found.holder != Holder::kOurs;
  if (found.holder == Holder::kSomebodys) {
    NameFunction(found.function, &state.image, &state.symbol);
  }
  if (found.before == Holder::kSomebodys) {
    NameFunction(found.before_function, &state.before_image, &state.before_symbol);
  }
  return state;
}

template <typename Function>
const void* AddressOf(Function* function) {
  return reinterpret_cast<const void*>(function);
}

HookState DescribeSignal(size_t index, bool installed) {
  const struct sigaction now = CurrentAction(kExceptionSignals[index]);
  const struct sigaction& before = oldSignalHandlers[index];
  const Found found = {HolderOf(now), AddressOf(now.sa_sigaction), HolderOf(before),
                       AddressOf(before.sa_sigaction)};
  return Describe(machine::SignalName(kExceptionSignals[index]), found,
                  installed && !IsSignalLeftAlone(kExceptionSignals[index]));
}

template <typename Function>
HookState DescribeHook(const char* name, Function* now, Function* ours, Function* before,
                       bool was_taken) {
  const void* const own = AddressOf(ours);
  const Found found = {HolderOf(AddressOf(now), own), AddressOf(now),
                       HolderOf(AddressOf(before), own), AddressOf(before)};
  return Describe(name, found, was_taken);
}

const char* WordOf(Holder holder) {
  switch (holder) {
    case Holder::kOurs:
      return "ours";
    case Holder::kSomebodys:
      return "somebody's";
    case Holder::kDefault:
      return "default";
    case Holder::kIgnored:
      return "ignored";
  }
  return "";
}

void LogState(const HookState& state) {
  ORU_CRASH_LOG_PROGRESS("neighbours: %s is %s%s %s %s, before: %s %s %s", state.name.c_str(),
                         WordOf(state.holder), state.taken_after_us ? ", taken after us" : "",
                         state.symbol.c_str(), state.image.c_str(), WordOf(state.before),
                         state.before_symbol.c_str(), state.before_image.c_str());
}

// Puts the front before whoever has the signal's faults; false when nobody has.
bool StandInFrontOfOne(int signo) {
  const struct sigaction now = CurrentAction(signo);
  if (IsFront(now)) return true;
  struct sigaction& before = oldSignalHandlers[IndexOf(signo)];
  if (!IsOurs(now) && machine::HasFunction(now)) before = now;
  if (!machine::HasFunction(before)) return false;
  if (!PutInFront(signo, before)) return false;
  ORU_CRASH_LOG_PROGRESS("neighbours: stands in front of signal %d", signo);
  return true;
}

bool RearmSignal(size_t index) {
  const int signo = kExceptionSignals[index];
  const struct sigaction now = CurrentAction(signo);
  if (IsSignalLeftAlone(signo) || IsOurs(now) || now.sa_handler == SIG_IGN) return false;
  oldSignalHandlers[index] = now;
  if (HasFront(signo) && machine::HasFunction(now)) {
    PutInFront(signo, now);
  } else {
    InstallSignalAction(signo, nullptr);
  }
  ORU_CRASH_LOG_PROGRESS("neighbours: takes back %s",
                         machine::SignalName(kExceptionSignals[index]));
  return true;
}

bool GiveSignalBack(size_t index) {
  const int signo = kExceptionSignals[index];
  if (IsSignalLeftAlone(signo) || !IsOurs(CurrentAction(signo))) return false;
  sigaction(signo, &oldSignalHandlers[index], nullptr);
  memset(&oldSignalHandlers[index], 0, sizeof oldSignalHandlers[index]);
  ORU_CRASH_LOG_PROGRESS("neighbours: gives back %s",
                         machine::SignalName(kExceptionSignals[index]));
  return true;
}

int RearmHooks() {
  int taken = 0;
  if (NSGetUncaughtExceptionHandler() != OruRTCExceptionHandler) {
    InitOruRTCExceptionHandler();
    ORU_CRASH_LOG_PROGRESS("neighbours: takes back %s", kExceptionHookName);
    ++taken;
  }
  if (std::get_new_handler() != OruRTCNewFailedCatchHandler) {
    InitOruRTCNewFailedHandler();
    ORU_CRASH_LOG_PROGRESS("neighbours: takes back %s", kNewHookName);
    ++taken;
  }
  return taken;
}

int GiveHooksBack() {
  int given = 0;
  if (NSGetUncaughtExceptionHandler() == OruRTCExceptionHandler) {
    NSSetUncaughtExceptionHandler(OruRTCOldExceptionHandler);
    ORU_CRASH_LOG_PROGRESS("neighbours: gives back %s", kExceptionHookName);
    ++given;
  }
  if (std::get_new_handler() == OruRTCNewFailedCatchHandler) {
    std::set_new_handler(OruRTCOldNewFailedHandler);
    ORU_CRASH_LOG_PROGRESS("neighbours: gives back %s", kNewHookName);
    ++given;
  }
  return given;
}

}  // namespace

bool StandInFrontOf(RuntimeFaultRule is_runtimes) {
  if (!TheHandler()->IsInstalled()) return false;
  SetFrontRules(is_runtimes, SignalHook());
  bool stands = false;
  for (const int signo : kFaultSignals) {
    if (!IsSignalLeftAlone(signo)) stands |= StandInFrontOfOne(signo);
  }
  return stands;
}

std::vector<HookState> WhoHoldsWhat() {
  const bool installed = TheHandler()->IsInstalled();
  std::vector<HookState> states;
  for (size_t i = 0; i < kExceptionSignalCount; ++i) states.push_back(DescribeSignal(i, installed));
  states.push_back(DescribeHook(kExceptionHookName, NSGetUncaughtExceptionHandler(),
                                OruRTCExceptionHandler, OruRTCOldExceptionHandler, installed));
  const std::terminate_handler terminate = std::get_terminate();
  states.push_back(DescribeHook(kTerminateHookName,
                                terminate != kFirstTerminateHandler ? terminate : nullptr,
                                OruRTCTerminateCatchHandler, OruRTCOldTerminateHandler, false));
  states.push_back(DescribeHook(kNewHookName, std::get_new_handler(), OruRTCNewFailedCatchHandler,
                                OruRTCOldNewFailedHandler, installed));
  for (const HookState& state : states) LogState(state);
  return states;
}

int Rearm() {
  if (!TheHandler()->IsInstalled()) return 0;
  int taken = 0;
  for (size_t i = 0; i < kExceptionSignalCount; ++i) taken += RearmSignal(i) ? 1 : 0;
  return taken + RearmHooks();
}

int Leave() {
  if (!TheHandler()->IsInstalled()) return 0;
  int given = 0;
  for (size_t i = 0; i < kExceptionSignalCount; ++i) given += GiveSignalBack(i) ? 1 : 0;
  given += GiveHooksBack();
  ReleaseOruRTCMachExceptionHandler();
  TheHandler()->ForgetInstallation();
  return given;
}

}  // namespace CrashHandler
