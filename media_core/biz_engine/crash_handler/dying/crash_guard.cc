#include "media_core/biz_engine/crash_handler/dying/crash_guard.h"

#include "media_core/biz_engine/crash_handler/dying/crash_state.h"

namespace CrashHandler {

void RunGuarded(void (*run)(const void*), const void* argument) {
  try {
    run(argument);
  } catch (...) {
    RescueReport();
    EndByOwnCrash();
    throw;  // only where the crash is another's
  }
}

bool RunWithoutExceptions(void (*step)()) {
  try {
    step();
  } catch (...) {
    return false;
  }
  return true;
}

}  // namespace CrashHandler
