#include "media_core/biz_engine/crash_handler/machine/threads/context_registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers_linux.h"

namespace CrashHandler::machine {

Registers RegistersOfContext(const void* context) {
  return RegistersOf(*static_cast<const ucontext_t*>(context));
}

}  // namespace CrashHandler::machine
