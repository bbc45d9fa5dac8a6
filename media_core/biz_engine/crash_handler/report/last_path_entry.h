// How reports name an image. May be used in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_LAST_PATH_ENTRY_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_LAST_PATH_ENTRY_H_

#include <cstring>

namespace CrashHandler {

// The part of a path behind its last "/", or all of it; null for null.
inline const char* lastPathEntry(const char* path) {
  if (path == nullptr) return nullptr;
  const char* const slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_LAST_PATH_ENTRY_H_
