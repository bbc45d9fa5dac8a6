#include <sys/ucontext.h>

#include "media_core/biz_engine/crash_handler/machine/threads/context_registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_state_mach.h"

namespace CrashHandler::machine {

Registers RegistersOfContext(const void* context) {
  return RegistersOfMachineContext(static_cast<const ucontext_t*>(context)->uc_mcontext);
}

}  // namespace CrashHandler::machine
