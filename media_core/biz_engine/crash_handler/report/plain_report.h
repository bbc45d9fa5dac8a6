// The report of a crash that has left the allocator, the loader or another lock unusable: the same
// file, sections and lines as the ordinary report's, from memory of the kernel, without objects,
// heap and locks (but that the names of threads take one of the thread library's on macOS).
//
// What is different: the header's date has the calendar's year and, like the file's name, the
// distance from UTC that the zone had at installation; names in the crashed thread's section are
// those of the symbol tables.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_PLAIN_REPORT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_PLAIN_REPORT_H_

#include <time.h>

#include <climits>
#include <cstddef>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

// What a plain report tells. The texts are the caller's; bytes that are not UTF-8 are taken as
// Latin-1.
struct PlainCrash {
  CrashType kind = Signal;
  timespec time = {};
  const char* dump_dir = "";
  const char* app_id = "";
  const char* session_id = "";
  const char* sdk_version = "";
  const char* extra_info = "";
  // Of an uncaught Objective-C exception, else null.
  const char* exception_name = nullptr;
  const char* exception_reason = nullptr;
  // The crashed thread's addresses, innermost first.
  void* const* frames = nullptr;
  size_t frame_count = 0;
};

// Room for a report's path.
using PlainPath = char[PATH_MAX];

// Remembers the zone and, with its terminating zero, the application's name. For installation.
void PreparePlainReport(const char* application);

// Writes the report of a crash of the calling thread that concerns the SDK, and its path. False,
// and no file, when the crash does not concern it or the report cannot be written. May run in a
// signal handler.
bool WritePlainReport(const PlainCrash& crash, PlainPath path);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_PLAIN_REPORT_H_
