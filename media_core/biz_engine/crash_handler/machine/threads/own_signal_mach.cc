#include <pthread.h>
#include <signal.h>

#include "media_core/biz_engine/crash_handler/machine/threads/own_signal.h"

namespace CrashHandler::machine {

void SignalOwnThread(int signo) { pthread_kill(pthread_self(), signo); }

}  // namespace CrashHandler::machine
