#include "media_core/biz_engine/crash_handler/darwin/exception_stack.h"

namespace CrashHandler {

NSArray* ExceptionStackSymbols(NSException* exception) { return [exception callStackSymbols]; }

}  // namespace CrashHandler
