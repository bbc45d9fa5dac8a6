// Raising a signal on the calling thread, whatever thread that is.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_OWN_SIGNAL_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_OWN_SIGNAL_H_

namespace CrashHandler::machine {

// As pthread_kill on the own thread, also where the C library does not know the thread. May run in
// a signal handler.
void SignalOwnThread(int signo);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_OWN_SIGNAL_H_
