#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_hooks.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_preparation.h"
#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/darwin/frame_symbols.h"
#include "media_core/biz_engine/crash_handler/darwin/front_handler.h"
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"
#include "media_core/biz_engine/crash_handler/darwin/signal_choice.h"
#include "media_core/biz_engine/crash_handler/dying/crash_flush.h"
#include "media_core/biz_engine/crash_handler/dying/crash_guard.h"
#include "media_core/biz_engine/crash_handler/dying/crash_reserve.h"
#include "media_core/biz_engine/crash_handler/dying/crash_stack.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/dying/later_crashes.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"
#include "media_core/biz_engine/crash_handler/tools/crash_log.h"

namespace CrashHandler {

const int kExceptionSignals[kExceptionSignalCount] = {SIGABRT, SIGBUS,  SIGFPE, SIGILL,
                                                      SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP};
struct sigaction oldSignalHandlers[kExceptionSignalCount];
NSUncaughtExceptionHandler* OruRTCOldExceptionHandler = nullptr;
std::terminate_handler OruRTCOldTerminateHandler = nullptr;
std::new_handler OruRTCOldNewFailedHandler = nullptr;

namespace {

// What the four hooks have of their own; the rest of their flow is the same.
struct Hook {
  CrashType kind;
  const char* refused;  // its log line when a crash was handled before
  const char* noticed;  // and when it was not; has the signal's number where there is one
};

constexpr Hook kSignalHook = {Signal, "DarwinCrashHandler::already had crash happend",
                              "DarwinCrashHandler::singal happend, signal = %d "};
constexpr Hook kExceptionHook = {Exception, "DarwinCrashHandler::already had crash happend",
                                 "DarwinCrashHandler::exception happend"};
constexpr Hook kNewFailedHook = {MemoryError, "DarwinCrashHandler::already had crash hanppend",
                                 "DarwinCrashHandler::new failed hanppend"};
constexpr Hook kTerminateHook = {Terminate, "DarwinCrashHandler::already had crash hanppend",
                                 "DarwinCrashHandler::terminate hanppend"};

constexpr int kMaxFrames = static_cast<int>(machine::kMaxCrashFrames);

DarwinCrashHandler* sInstance = nullptr;

// Code that a signal interrupts keeps its error number.
class ErrnoKeeper {
 public:
  ErrnoKeeper() = default;
  ~ErrnoKeeper() { errno = saved_; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  const int saved_ = errno;
};

// A failed allocation's crash. The process goes on from it, even when the report's own allocations
// fail and that leaves by an exception: then the report is rescued.
class AllocationCrash {
 public:
  AllocationCrash() = default;
  ~AllocationCrash() {
    RescueReport();
    GiveCrashBack();
  }
  AllocationCrash(const AllocationCrash&) = delete;
  AllocationCrash& operator=(const AllocationCrash&) = delete;
};

// Tests and sets the crashed flag, as the one thread that may: whoever gets true writes the report.
bool BeginCrash(int signo, CrashType kind, bool may_be_survived = false) {
  if (!TakeCrash()) return false;
  DarwinCrashHandler* handler = DarwinCrashHandler::GetInstance();
  if (handler->IsCrashed()) {
    GiveCrashBack();
    return false;
  }
  handler->SetCrashed(true);
  OpenCrashReserve();
  BeginCrashReport(signo, kind, may_be_survived);
  return true;
}

// For hooks that are no signal's: an uncaught exception, a terminate. An exception inside a report
// ends the process by that report's crash, before the runtime does it in its own way; which is
// right where the crash is an uncaught exception itself.
void RefuseCrash(const Hook& hook) {
  RescueOwnReport(SIGABRT, nullptr, nullptr);
  ORU_CRASH_LOG_PROBLEM("%s", hook.refused);
  LeaveToEarlierCrash(SIGABRT, nullptr, nullptr);
  if (CurrentCrashKind() != Exception) EndByOwnCrash();
}

void AnnounceCrash(const Hook& hook, int signo = 0) {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
#pragma clang diagnostic ignored "-Wformat-security"
  ORU_CRASH_LOG_PROGRESS(hook.noticed, signo);
#pragma clang diagnostic pop
  DarwinCrashHandler::GetInstance()->TrigerCrashHanlerCallback(hook.kind);
}

// The predecessor of a signal that asked for the signal's information; others are not called.
const struct sigaction* FindOldSignalHandler(int signo) {
  for (size_t i = 0; i < kExceptionSignalCount; ++i) {
    const struct sigaction& old = oldSignalHandlers[i];
    if (kExceptionSignals[i] != signo || (old.sa_flags & SA_SIGINFO) == 0) continue;
    // An ignored signal has no function behind it, whatever its flags are.
    if (machine::HasFunction(old)) return &old;
  }
  return nullptr;
}

// One call of the signals' hook, and what has come of it.
struct SignalCall {
  int signo;
  siginfo_t* info;
  void* context;
  bool refused = false;
  const struct sigaction* old_handler = nullptr;
};

void OruRTCSignalCatchHandler(int signo, siginfo_t* info, void* context);

// The handler's own frame first, then the interrupted code.
int CaptureSignalFrames(const SignalCall& call, void** frames) {
  int count = CaptureCrashFrames(frames, kMaxFrames);
  // Some systems walk only the thread's own stack, and not the module's.
  if (count == 0) {
    frames[count++] = reinterpret_cast<char*>(&OruRTCSignalCatchHandler) + 1;
  }
  return static_cast<int>(machine::CompleteCrashFrames(
      call.context, frames, static_cast<size_t>(count), machine::kMaxCrashFrames));
}

// True: the report is to be made in the ordinary way. Where that is no way, it is rescued at once.
bool TakeOrdinaryWay() {
  if (IsOrdinaryReportPossible()) return true;
  RescueReport();
  return false;
}

void ReportSignal(const SignalCall& call, void* const* frames, int count) {
  if (!TakeOrdinaryWay()) return;
  @autoreleasepool {
    NSMutableArray* symbols = SymbolsOfFrames(frames, count, machine::InterruptedAt(call.context));
    [CreateOruRTCCrashReport() reportCrashWithSignal:call.signo
                                                info:call.info
                                             context:call.context
                                             symbols:symbols];
  }
}

// Runs on a stack of the module's.
void HandleSignal(SignalCall* call) {
  const bool fatal = machine::IsFatal(call->signo, call->info, call->context);
  call->refused = !BeginCrash(call->signo, kSignalHook.kind, !fatal);
  if (call->refused) {
    RescueOwnReport(call->signo, call->info, call->context);
    ORU_CRASH_LOG_PROBLEM("%s", kSignalHook.refused);
    return;
  }
  void* frames[kMaxFrames];
  const int count = CaptureSignalFrames(*call, frames);
  RememberEntry(frames, count, machine::InterruptedAt(call->context));
  RememberCause(call->signo, call->info, call->context);
  Guarded([&] { AnnounceCrash(kSignalHook, call->signo); });
  ReportIsDue();
  if (call->signo == SIGABRT) Guarded([] { RememberThrown(); });
  Guarded([&] { ReportSignal(*call, frames, count); });
  call->old_handler = FindOldSignalHandler(call->signo);
  const SignalAction function =
      call->old_handler != nullptr ? call->old_handler->sa_sigaction : nullptr;
  Guarded([&] {
    ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::report finish, old handler = %d",
                           static_cast<int>(reinterpret_cast<intptr_t>(function)));
  });
  if (fatal) Guarded([] { FlushBeforeTheEnd(); });
  LeaveCrashToHost();
}

// Under the mask and the flags that it was installed with, as if the signal had come to it first.
void CallOldSignalHandler(const SignalCall& call) {
  const struct sigaction old = *call.old_handler;
  const bool deferred = (static_cast<unsigned>(old.sa_flags) & SA_NODEFER) == 0;
  const sigset_t only = machine::MaskOf(call.signo);
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, &old.sa_mask, &mask);
  if (!deferred) pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  if (deferred && machine::BlockedFaultEnds()) pthread_sigmask(SIG_BLOCK, &only, nullptr);
  if ((static_cast<unsigned>(old.sa_flags) & SA_RESETHAND) != 0) {
    machine::SetDefaultAction(call.signo);
  }
  old.sa_sigaction(call.signo, call.info, call.context);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

// What stands here runs on the interrupted stack and must need next to nothing of it.
void OruRTCSignalCatchHandler(int signo, siginfo_t* info, void* context) {
  const ErrnoKeeper keep_errno;
  SignalCall call = {signo, info, context};
  RunOnCrashStack([](void* argument) { HandleSignal(static_cast<SignalCall*>(argument)); }, &call);
  if (call.refused) return LeaveToEarlierCrash(signo, info, context);
  if (call.old_handler != nullptr) CallOldSignalHandler(call);
  ReleaseOruRTCSingnalHandle(true);
  GiveCrashBack();
}

// An exception on its way up again: the runtime reports it to the uncaught-exception handler.
bool IsRethrownException(NSArray* symbols) {
  for (NSString* symbol in symbols) {
    if ([symbol rangeOfString:@"objc_exception_rethrow"].location != NSNotFound) return true;
  }
  return false;
}

void LeaveToExceptionHandler() {
  ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::due to uncaught exception, let exception handler it");
  DarwinCrashHandler::GetInstance()->SetCrashed(false);
  GiveCrashBack();
  if (OruRTCOldTerminateHandler != nullptr) OruRTCOldTerminateHandler();
  std::set_terminate(nullptr);
}

}  // namespace

void InitOruRTCExceptionHandler() {
  NSUncaughtExceptionHandler* current = NSGetUncaughtExceptionHandler();
  if (current != OruRTCExceptionHandler) {
    OruRTCOldExceptionHandler = current;
    ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::had old exception handler");
  }
  NSSetUncaughtExceptionHandler(OruRTCExceptionHandler);
}

void ReleaseOruRTCExceptionHandler(bool force) {
  ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::release exception handler: force = %d", force);
  if (OruRTCOldExceptionHandler == nullptr && !force) return;
  NSSetUncaughtExceptionHandler(force ? nullptr : OruRTCOldExceptionHandler);
}

void OruRTCExceptionHandler(NSException* exception) {
  if (!BeginCrash(SIGABRT, kExceptionHook.kind)) return RefuseCrash(kExceptionHook);
  void* frames[kMaxFrames];
  RememberEntry(frames, CaptureCrashFrames(frames, kMaxFrames));
  AnnounceCrash(kExceptionHook);
  @autoreleasepool {
    const std::string name = BytesOfText([exception name]);
    const std::string reason = BytesOfText([exception reason]);
    RememberException(name.c_str(), [exception reason] != nil ? reason.c_str() : nullptr);
    if (TakeOrdinaryWay()) [CreateOruRTCCrashReport() reportCrashWithException:exception];
    ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::report finish, old handler is= %p",
                           reinterpret_cast<void*>(OruRTCOldExceptionHandler));
    FlushBeforeTheEnd();
    LeaveCrashToHost();
  }
  if (OruRTCOldExceptionHandler != nullptr) OruRTCOldExceptionHandler(exception);
  ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::release exception handler: force = %d", 1);
  NSSetUncaughtExceptionHandler(nullptr);
  GiveCrashBack();
}

SignalAction SignalHook() { return OruRTCSignalCatchHandler; }

void InstallSignalAction(int signo, struct sigaction* previous) {
  struct sigaction action = {};
  action.sa_sigaction = OruRTCSignalCatchHandler;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  action.sa_mask = machine::MaskOf(signo);
  if (sigaction(signo, &action, previous) != 0) {
    ORU_CRASH_LOG_PROBLEM("DarwinCrashHandler::install signal %d error", signo);
  }
}

void InitOruRTCSignalHandler() {
  memset(oldSignalHandlers, 0, sizeof oldSignalHandlers);
  ApplySignalChoice();
  ForgetFronts();
  for (size_t i = 0; i < kExceptionSignalCount; ++i) {
    if (IsSignalLeftAlone(kExceptionSignals[i])) continue;
    InstallSignalAction(kExceptionSignals[i], &oldSignalHandlers[i]);
  }
}

void ReleaseOruRTCSingnalHandle(bool force) {
  for (size_t i = 0; i < kExceptionSignalCount; ++i) {
    if (IsSignalLeftAlone(kExceptionSignals[i])) continue;
    if (force) oldSignalHandlers[i].sa_handler = SIG_DFL;
    sigaction(kExceptionSignals[i], &oldSignalHandlers[i], nullptr);
  }
  memset(oldSignalHandlers, 0, sizeof oldSignalHandlers);
}

bool ReportCrash(int signo, siginfo_t* info, void* context) {
  const ErrnoKeeper keep_errno;
  SignalCall call = {signo, info, context};
  RunOnCrashStack([](void* argument) { HandleSignal(static_cast<SignalCall*>(argument)); }, &call);
  if (!call.refused) GiveCrashBack();
  return !call.refused;
}

void InitOruRTCTerminateHandler() {
  const std::terminate_handler current = std::get_terminate();
  if (current != OruRTCTerminateCatchHandler) OruRTCOldTerminateHandler = current;
  std::set_terminate(OruRTCTerminateCatchHandler);
}

void ReleaseOruRTCTerminateHandle(bool force) {
  if (OruRTCOldTerminateHandler == nullptr && !force) return;
  std::set_terminate(force ? nullptr : OruRTCOldTerminateHandler);
}

void OruRTCTerminateCatchHandler() {
  if (!BeginCrash(SIGABRT, kTerminateHook.kind)) return RefuseCrash(kTerminateHook);
  void* frames[kMaxFrames];
  const int count = CaptureCrashFrames(frames, kMaxFrames);
  RememberEntry(frames, count);
  AnnounceCrash(kTerminateHook);
  ReportIsDue();
  RememberThrown();
  @autoreleasepool {
    NSMutableArray* symbols = SymbolsOfFrames(frames, count);
    if (IsRethrownException(symbols)) return LeaveToExceptionHandler();
    if (TakeOrdinaryWay()) [CreateOruRTCCrashReport() reportCrashWithSymbols:symbols];
  }
  ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::report finish, old handler = %p",
                         reinterpret_cast<void*>(OruRTCOldTerminateHandler));
  FlushBeforeTheEnd();
  LeaveCrashToHost();
  if (OruRTCOldTerminateHandler != nullptr) OruRTCOldTerminateHandler();
  std::set_terminate(nullptr);
  GiveCrashBack();
}

void InitOruRTCNewFailedHandler() {
  const std::new_handler current = std::get_new_handler();
  if (current != OruRTCNewFailedCatchHandler) OruRTCOldNewFailedHandler = current;
  std::set_new_handler(OruRTCNewFailedCatchHandler);
}

void ReleaseOruRTCNewFailedHandle(bool force) {
  if (OruRTCOldNewFailedHandler == nullptr && !force) return;
  std::set_new_handler(OruRTCOldNewFailedHandler);
}

void OruRTCNewFailedCatchHandler() {
  if (!BeginCrash(SIGABRT, kNewFailedHook.kind, true)) {
    ORU_CRASH_LOG_PROBLEM("%s", kNewFailedHook.refused);
    // `operator new` calls again until memory is found or another handler stands here.
    if (RefuseFailedAllocation()) std::set_new_handler(OruRTCOldNewFailedHandler);
    return;
  }
  {
    const AllocationCrash crash;
    void* frames[kMaxFrames];
    const int count = CaptureCrashFrames(frames, kMaxFrames);
    RememberEntry(frames, count);
    AnnounceCrash(kNewFailedHook);
    ReportIsDue();
    if (TakeOrdinaryWay()) {
      @autoreleasepool {
        [CreateOruRTCCrashReport() reportCrashWithSymbols:SymbolsOfFrames(frames, count)];
      }
    }
    ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::report finish, old handler = %p",
                           reinterpret_cast<void*>(OruRTCOldNewFailedHandler));
  }
  if (OruRTCOldNewFailedHandler != nullptr) OruRTCOldNewFailedHandler();
  std::set_new_handler(OruRTCOldNewFailedHandler);
}

OruRTCCrashReport* CreateOruRTCCrashReport() {
  return CreateReportOfHandler(DarwinCrashHandler::GetInstance());
}

DarwinCrashHandler* DarwinCrashHandler::GetInstance() {
  if (sInstance == nullptr) sInstance = new DarwinCrashHandler;
  return sInstance;
}

void DarwinCrashHandler::Release() {
  delete sInstance;
  sInstance = nullptr;
}

bool DarwinCrashHandler::InstallCrashHandler() {
  ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::InstallCrashHandler");
  if (installed_) {
    ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::Already install crash handler");
    return true;
  }
  PrepareForCrash();
  InitOruRTCExceptionHandler();
  InitOruRTCSignalHandler();
  InitOruRTCNewFailedHandler();
  if (GetCrashHandlerConfig().enableMachExceptionHandler) InitOruRTCMachExceptionHandler();
  HoldExitDuringCrash();
  installed_ = true;
  return true;
}

bool DarwinCrashHandler::UnInstallCrashHandler() {
  ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::UnInstallCrashHandler");
  ReleaseOruRTCExceptionHandler(false);
  ReleaseOruRTCSingnalHandle(false);
  ReleaseOruRTCNewFailedHandle(false);
  ReleaseOruRTCMachExceptionHandler();
  installed_ = false;
  return true;
}

}  // namespace CrashHandler
