#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"

#include <execinfo.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_hooks.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_preparation.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"
#include "media_core/biz_engine/crash_handler/dying/crash_exit.h"
#include "media_core/biz_engine/crash_handler/dying/crash_guard.h"
#include "media_core/biz_engine/crash_handler/dying/crash_rescue.h"
#include "media_core/biz_engine/crash_handler/dying/crash_turn.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

#define LOG_PROGRESS(...) PrintLog(kCrashLogInfo, "Crash_Handler", __FILE__, __LINE__, __VA_ARGS__)
#define LOG_PROBLEM(...) PrintLog(kCrashLogError, "Crash_Handler", __FILE__, __LINE__, __VA_ARGS__)

namespace CrashHandler {

const int kExceptionSignals[kExceptionSignalCount] = {SIGABRT, SIGBUS,  SIGFPE, SIGILL,
                                                      SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP};
struct sigaction oldSignalHandlers[kExceptionSignalCount];
NSUncaughtExceptionHandler* OruRTCOldExceptionHandler = nullptr;
std::terminate_handler OruRTCOldTerminateHandler = nullptr;
std::new_handler OruRTCOldNewFailedHandler = nullptr;

namespace {

constexpr int kMaxFrames = 128;

using SignalAction = void (*)(int, siginfo_t*, void*);

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

// A fault has its own signal blocked while it is handled. Within the scope another fault of that
// kind comes to the handler too instead of ending the process at once: the report can be rescued.
class OpenToFaults {
 public:
  OpenToFaults(int signo, const siginfo_t* info, const void* context) {
    sigemptyset(&opened_);
    if (machine::IsFault(signo, info, context)) sigaddset(&opened_, signo);
    pthread_sigmask(SIG_UNBLOCK, &opened_, nullptr);
  }
  ~OpenToFaults() { pthread_sigmask(SIG_BLOCK, &opened_, nullptr); }
  OpenToFaults(const OpenToFaults&) = delete;
  OpenToFaults& operator=(const OpenToFaults&) = delete;

 private:
  sigset_t opened_;
};

// A failed allocation's turn. The process goes on from it, even when the report's own allocations
// fail and that leaves by an exception: then the report is rescued.
class AllocationCrash {
 public:
  AllocationCrash() = default;
  ~AllocationCrash() {
    RescueReport();
    GiveCrashTurnBack();
  }
  AllocationCrash(const AllocationCrash&) = delete;
  AllocationCrash& operator=(const AllocationCrash&) = delete;
};

// Of the crash that has the turn.
std::atomic<CrashType> sCrashKind{Signal};

// Tests and sets the crashed flag, as the one thread that may: whoever gets true writes the report.
bool BeginCrash(int signo, CrashType kind) {
  if (!TakeCrashTurn(signo)) return false;
  DarwinCrashHandler* handler = DarwinCrashHandler::GetInstance();
  if (!handler->IsCrashed()) {
    handler->SetCrashed(true);
    ReleaseReservedDescriptor();
    ReleaseCrashReserve();
    ExpectReport(kind);
    sCrashKind = kind;
    return true;
  }
  GiveCrashTurnBack();
  return false;
}

// For an exception inside a report. Behind its handler the runtime ends the process in its own way,
// which is right where the crash is an uncaught exception itself.
void EndByCrashUnderWay() {
  if (sCrashKind != Exception) EndByOwnCrash();
}

void CallHost(CrashType kind) {
  DarwinCrashHandler::GetInstance()->TrigerCrashHanlerCallback(kind);
}

// Frame strings are never freed: the process is about to end. They are kept in sight, so that
// nobody takes them for lost; those of earlier crashes, which the process survived, through the
// first entry.
char** sFrameStrings = nullptr;

void KeepInSight(char** symbols, int count) {
  if (symbols == nullptr || count == 0) return;
  symbols[0] = reinterpret_cast<char*>(sFrameStrings);
  sFrameStrings = symbols;
}

NSMutableArray* SymbolArray(char** symbols, int count) {
  NSMutableArray* array = [NSMutableArray array];
  for (int i = 0; symbols != nullptr && i < count; ++i) {
    [array addObject:TextFromBytes(symbols[i], strlen(symbols[i]))];
  }
  return array;
}

// The predecessor of a signal that asked for the signal's information; others are not called.
SignalAction FindOldSignalHandler(int signo) {
  for (size_t i = 0; i < kExceptionSignalCount; ++i) {
    const struct sigaction& old = oldSignalHandlers[i];
    if (kExceptionSignals[i] != signo || (old.sa_flags & SA_SIGINFO) == 0) continue;
    // An ignored signal has no function behind it, whatever its flags are.
    if (old.sa_handler != SIG_DFL && old.sa_handler != SIG_IGN) return old.sa_sigaction;
  }
  return nullptr;
}

// Always inline, so that the handlers are frame 0, which the filter passes over: a frame of this
// module in between could carry the filter's word.
[[gnu::always_inline]] inline int CaptureFrames(void** frames) {
  const auto count = static_cast<int>(machine::CaptureDamagedStack(frames, kMaxFrames));
  return count != 0 ? count : backtrace(frames, kMaxFrames);
}

void ReportSignal(int signo, siginfo_t* info, void* context, void* const* frames, int count) {
  @autoreleasepool {
    char** strings = backtrace_symbols(frames, count);
    NSMutableArray* symbols = SymbolArray(strings, count);
    KeepInSight(strings, count);
    [CreateOruRTCCrashReport() reportCrashWithSignal:signo
                                                info:info
                                             context:context
                                             symbols:symbols];
  }
}

void OruRTCSignalCatchHandler(int signo, siginfo_t* info, void* context) {
  const ErrnoKeeper keep_errno;
  if (!BeginCrash(signo, Signal)) {
    RescueOwnReport(signo, info, context);
    LOG_PROBLEM("DarwinCrashHandler::already had crash happend");
    LeaveToEarlierCrash(signo, info, context);
    return;
  }
  {
    const OpenToFaults open(signo, info, context);
    Guarded([&] {
      LOG_PROGRESS("DarwinCrashHandler::singal happend, signal = %d ", signo);
      CallHost(Signal);
    });
    void* frames[kMaxFrames];
    const int count = CaptureFrames(frames);
    RememberFrames(frames, count);
    Guarded([&] { ReportSignal(signo, info, context, frames, count); });
  }
  const SignalAction old_handler = FindOldSignalHandler(signo);
  Guarded([&] {
    LOG_PROGRESS("DarwinCrashHandler::report finish, old handler = %d",
                 static_cast<int>(reinterpret_cast<intptr_t>(old_handler)));
  });
  EndCrashDeadline();
  if (old_handler != nullptr) old_handler(signo, info, context);
  ReleaseOruRTCSingnalHandle(true);
  GiveCrashTurnBack();
}

void InstallSignalAction(int signo, struct sigaction* previous) {
  struct sigaction action = {};
  action.sa_sigaction = OruRTCSignalCatchHandler;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  sigaddset(&action.sa_mask, signo);
  if (sigaction(signo, &action, previous) != 0) {
    LOG_PROBLEM("DarwinCrashHandler::install signal %d error", signo);
  }
}

// An exception on its way up again: the runtime reports it to the uncaught-exception handler.
bool IsRethrownException(char** symbols, int count) {
  for (int i = 0; symbols != nullptr && i < count; ++i) {
    if (strstr(symbols[i], "objc_exception_rethrow") != nullptr) return true;
  }
  return false;
}

// An exception that was thrown without being raised has no call stack on GNUstep, which takes it
// when the exception is raised first. The stack of the throw is still below this one.
void CompleteCallStack(NSException* exception) {
  if ([[exception callStackSymbols] count] != 0) return;
  @try {
    [exception raise];
  } @catch (NSException*) {
  }
}

void LeaveToExceptionHandler() {
  LOG_PROGRESS("DarwinCrashHandler::due to uncaught exception, let exception handler it");
  DarwinCrashHandler::GetInstance()->SetCrashed(false);
  GiveCrashTurnBack();
  if (OruRTCOldTerminateHandler != nullptr) OruRTCOldTerminateHandler();
  std::set_terminate(nullptr);
}

}  // namespace

void InitOruRTCExceptionHandler() {
  NSUncaughtExceptionHandler* current = NSGetUncaughtExceptionHandler();
  if (current != OruRTCExceptionHandler) {
    OruRTCOldExceptionHandler = current;
    LOG_PROGRESS("DarwinCrashHandler::had old exception handler");
  }
  NSSetUncaughtExceptionHandler(OruRTCExceptionHandler);
}

void ReleaseOruRTCExceptionHandler(bool force) {
  LOG_PROGRESS("DarwinCrashHandler::release exception handler: force = %d", force);
  if (OruRTCOldExceptionHandler == nullptr && !force) return;
  NSSetUncaughtExceptionHandler(force ? nullptr : OruRTCOldExceptionHandler);
}

void OruRTCExceptionHandler(NSException* exception) {
  if (!BeginCrash(SIGABRT, Exception)) {
    RescueOwnReport(SIGABRT, nullptr, nullptr);
    LOG_PROBLEM("DarwinCrashHandler::already had crash happend");
    LeaveToEarlierCrash(SIGABRT, nullptr, nullptr);
    EndByCrashUnderWay();
    return;
  }
  LOG_PROGRESS("DarwinCrashHandler::exception happend");
  CallHost(Exception);
  @autoreleasepool {
    CompleteCallStack(exception);
    RememberException([[exception name] UTF8String], [[exception reason] UTF8String]);
    [CreateOruRTCCrashReport() reportCrashWithException:exception];
  }
  LOG_PROGRESS("DarwinCrashHandler::report finish, old handler is= %p",
               reinterpret_cast<void*>(OruRTCOldExceptionHandler));
  EndCrashDeadline();
  if (OruRTCOldExceptionHandler != nullptr) OruRTCOldExceptionHandler(exception);
  LOG_PROGRESS("DarwinCrashHandler::release exception handler: force = %d", 1);
  NSSetUncaughtExceptionHandler(nullptr);
  GiveCrashTurnBack();
}

void InitOruRTCSignalHandler() {
  memset(oldSignalHandlers, 0, sizeof oldSignalHandlers);
  for (size_t i = 0; i < kExceptionSignalCount; ++i) {
    InstallSignalAction(kExceptionSignals[i], &oldSignalHandlers[i]);
  }
}

void ReleaseOruRTCSingnalHandle(bool force) {
  for (size_t i = 0; i < kExceptionSignalCount; ++i) {
    if (force) oldSignalHandlers[i].sa_handler = SIG_DFL;
    sigaction(kExceptionSignals[i], &oldSignalHandlers[i], nullptr);
  }
  memset(oldSignalHandlers, 0, sizeof oldSignalHandlers);
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
  if (!BeginCrash(SIGABRT, Terminate)) {
    RescueOwnReport(SIGABRT, nullptr, nullptr);
    LOG_PROBLEM("DarwinCrashHandler::already had crash hanppend");
    LeaveToEarlierCrash(SIGABRT, nullptr, nullptr);
    EndByCrashUnderWay();
    return;
  }
  LOG_PROGRESS("DarwinCrashHandler::terminate hanppend");
  CallHost(Terminate);
  void* frames[kMaxFrames];
  const int count = CaptureFrames(frames);
  RememberFrames(frames, count);
  char** symbols = backtrace_symbols(frames, count);
  if (IsRethrownException(symbols, count)) {
    KeepInSight(symbols, count);
    LeaveToExceptionHandler();
    return;
  }
  @autoreleasepool {
    NSMutableArray* array = SymbolArray(symbols, count);
    KeepInSight(symbols, count);
    [CreateOruRTCCrashReport() reportCrashWithSymbols:array];
  }
  LOG_PROGRESS("DarwinCrashHandler::report finish, old handler = %p",
               reinterpret_cast<void*>(OruRTCOldTerminateHandler));
  EndCrashDeadline();
  if (OruRTCOldTerminateHandler != nullptr) OruRTCOldTerminateHandler();
  std::set_terminate(nullptr);
  GiveCrashTurnBack();
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
  if (!BeginCrash(SIGABRT, MemoryError)) {
    LOG_PROBLEM("DarwinCrashHandler::already had crash hanppend");
    // `operator new` calls again until memory is found or another handler stands here.
    if (RefuseFailedAllocation()) std::set_new_handler(OruRTCOldNewFailedHandler);
    return;
  }
  {
    const AllocationCrash crash;
    LOG_PROGRESS("DarwinCrashHandler::new failed hanppend");
    CallHost(MemoryError);
    @autoreleasepool {
      void* frames[kMaxFrames];
      const int count = CaptureFrames(frames);
      RememberFrames(frames, count);
      char** strings = backtrace_symbols(frames, count);
      NSMutableArray* symbols = SymbolArray(strings, count);
      KeepInSight(strings, count);
      [CreateOruRTCCrashReport() reportCrashWithSymbols:symbols];
    }
    LOG_PROGRESS("DarwinCrashHandler::report finish, old handler = %p",
                 reinterpret_cast<void*>(OruRTCOldNewFailedHandler));
  }
  if (OruRTCOldNewFailedHandler != nullptr) OruRTCOldNewFailedHandler();
  std::set_new_handler(OruRTCOldNewFailedHandler);
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
  LOG_PROGRESS("DarwinCrashHandler::InstallCrashHandler");
  if (installed_) {
    LOG_PROGRESS("DarwinCrashHandler::Already install crash handler");
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
  LOG_PROGRESS("DarwinCrashHandler::UnInstallCrashHandler");
  ReleaseOruRTCExceptionHandler(false);
  ReleaseOruRTCSingnalHandle(false);
  ReleaseOruRTCNewFailedHandle(false);
  ReleaseOruRTCMachExceptionHandler();
  installed_ = false;
  return true;
}

}  // namespace CrashHandler
