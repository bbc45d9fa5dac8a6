#include "media_core/biz_engine/crash_handler/dying/crash_guard.h"

#include "media_core/biz_engine/crash_handler/dying/crash_rescue.h"
#include "media_core/biz_engine/crash_handler/dying/crash_turn.h"

namespace CrashHandler {

void RunGuarded(void (*run)(const void*), const void* argument) {
  try {
    run(argument);
  } catch (...) {
    RescueReport();
    EndByOwnCrash();
    throw;  // only where the turn is another's
  }
}

}  // namespace CrashHandler
