// The crash module's place in front of the Mach exception ports of its own task.
//
// A hardware fault or software trap reaches the task's exception port before it becomes a signal.
// This handler writes no report: when an exception arrives it puts the ports back that it found at
// installation, answers the kernel with a failure, so that the exception goes on to whoever was
// there before or to the signal path, and ends its thread. One exception is handled an
// installation; the answer comes within the time of crash_deadline.h, whatever the log does, and
// what else faults meanwhile goes on at once.
//
// The exceptions of programs that this one started come here too; they are refused and change
// nothing. A fork's child starts without the handler and without its ports; it may install its own.
//
// On a system without Mach both functions do nothing.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_H_

namespace CrashHandler {

// Saves the task's exception ports, puts a port of its own there and starts the thread that listens
// on it. Skipped, with a log line, while a debugger is attached: it owns the exception ports. A
// step that fails is logged and undoes what was done before it. Install and release are expected on
// one thread at a time.
void InitOruRTCMachExceptionHandler();

// Puts the saved ports back, tells the thread to end (it is not joined) and forgets the port. The
// handler thread calls it too, when an exception arrives, and then goes on to its own end. Safe
// when nothing is installed, and safe to repeat.
void ReleaseOruRTCMachExceptionHandler();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_H_
