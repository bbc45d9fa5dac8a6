#include "media_core/biz_engine/crash_handler/darwin/foundation_use.h"

namespace CrashHandler {

bool IsFoundationUsable() { return true; }

}  // namespace CrashHandler
