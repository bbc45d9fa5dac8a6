// The module's own port in front of the kernel's exception chain (macOS). An exception that arrives
// there is handed back: the ports found at installation are restored and the kernel is told that
// the exception was not handled, so that it becomes the signal that the signal handlers report.
//
// Where the system has no Mach exceptions both functions do nothing.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_H_

namespace CrashHandler {

// Saves the task's exception ports, puts the module's port in their place and starts the thread
// that serves it. Skipped while a debugger is attached. Failures are logged and undone. Not
// thread-safe: install and release on one thread at a time.
void InitOruRTCMachExceptionHandler();

// Restores the saved ports and ends the handler thread. Safe when nothing is installed.
void ReleaseOruRTCMachExceptionHandler();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_H_
