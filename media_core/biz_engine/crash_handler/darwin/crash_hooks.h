// The hooks through which a crash is noticed, each with its installation and removal. For
// Objective-C++ files.
//
// Installing and removing is for one thread at a time. Each hook that fires follows one flow:
// refuse when a crash was handled before, set the crashed flag, call the host, write the report,
// pass the crash on to the handler found at installation, and get out of the way.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_HOOKS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_HOOKS_H_

#import <Foundation/Foundation.h>
#include <signal.h>

#include <cstddef>
#include <exception>
#include <new>

// A hook is the innermost frame of its backtrace. With the module inside a program that exports its
// functions, Linux names the frame only if the hook is visible; the shared library keeps it inside
// (packaging/exports.map).
#define ORU_CRASH_HOOK [[gnu::visibility("default")]]

namespace CrashHandler {

constexpr size_t kExceptionSignalCount = 8;

// The signals caught, and the actions that installation replaced, in the same order.
extern const int kExceptionSignals[kExceptionSignalCount];
extern struct sigaction oldSignalHandlers[kExceptionSignalCount];

using SignalAction = void (*)(int signo, siginfo_t* info, void* context);

// What is installed for each of them.
SignalAction SignalHook();
// Installs it for one, and saves what was there.
void InstallSignalAction(int signo, struct sigaction* previous);

// The handlers found at installation where they were not the module's own; null when there was
// none.
extern NSUncaughtExceptionHandler* OruRTCOldExceptionHandler;
extern std::terminate_handler OruRTCOldTerminateHandler;
extern std::new_handler OruRTCOldNewFailedHandler;

// Uncaught Objective-C exceptions. Released without `force`, the old handler comes back, and with
// no old handler the module's stays; with `force` there is none afterwards.
void InitOruRTCExceptionHandler();
void ReleaseOruRTCExceptionHandler(bool force);
ORU_CRASH_HOOK void OruRTCExceptionHandler(NSException* exception);

// The signals, but for those that a choice leaves alone (signal_choice.h). The saved actions are
// put back, with `force` as default actions that keep the saved mask and flags; then the saved
// actions are forgotten (all zero, which is the default action).
void InitOruRTCSignalHandler();
void ReleaseOruRTCSingnalHandle(bool force);

// std::terminate; nothing in the module installs it. Released without `force`, the old handler
// comes back, and with no old handler the module's stays; with `force` it is set to null.
void InitOruRTCTerminateHandler();
void ReleaseOruRTCTerminateHandle(bool force);
ORU_CRASH_HOOK void OruRTCTerminateCatchHandler();

// Failed `operator new`. Released, the old handler comes back; with no old handler the module's
// stays unless `force` sets null.
void InitOruRTCNewFailedHandler();
void ReleaseOruRTCNewFailedHandle(bool force);
ORU_CRASH_HOOK void OruRTCNewFailedCatchHandler();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_HOOKS_H_
