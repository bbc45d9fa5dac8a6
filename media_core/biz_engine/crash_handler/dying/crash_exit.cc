#include "media_core/biz_engine/crash_handler/dying/crash_exit.h"

#include <cstdlib>

#include "media_core/biz_engine/crash_handler/dying/crash_turn.h"

namespace CrashHandler {
namespace {

// With the module in a library that is closed, both come then: its code is in use until the report
// is done.
[[gnu::destructor]] void HoldEndOfExit() { AwaitReportElsewhere(); }

}  // namespace

void HoldExitDuringCrash() {
  [[maybe_unused]] static const int registered = atexit(AwaitReportElsewhere);
}

}  // namespace CrashHandler
