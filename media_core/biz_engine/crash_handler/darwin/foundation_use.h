// Whether the platform's Foundation can be used in this process.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FOUNDATION_USE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FOUNDATION_USE_H_

namespace CrashHandler {

// Asks without using it. For installation.
bool IsFoundationUsable();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FOUNDATION_USE_H_
