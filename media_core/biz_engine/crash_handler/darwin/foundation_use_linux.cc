#include "media_core/biz_engine/crash_handler/darwin/foundation_use.h"
#include "utils/shared_gnustep.h"

namespace CrashHandler {

bool IsFoundationUsable() { return tessik::shared::IsGnustepUsable(); }

}  // namespace CrashHandler
