#include <sys/syscall.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/own_signal.h"

namespace CrashHandler::machine {

void SignalOwnThread(int signo) {
  SystemCall(SYS_tgkill, SystemCall(SYS_getpid), SystemCall(SYS_gettid), signo);
}

}  // namespace CrashHandler::machine
