// A crash report made without the platform's objects, the heap and locks, in memory of a fixed
// size: whatever a crash has broken, and however many threads, images and words there are. The file
// is the ordinary report's in name and text, but for two things: the names of the frames in the
// crashed thread's section are those of the symbol tables, and the time's zone is that of the
// installation.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_STREAMED_REPORT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_STREAMED_REPORT_H_

#include <time.h>

#include <cstddef>

#include "media_core/biz_engine/crash_handler/crash_settings.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"
#include "media_core/biz_engine/crash_handler/report/report_file.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

// What a report tells of the crash itself. The texts are the caller's.
struct StreamedCrash {
  CrashType kind = Signal;
  timespec time = {};
  machine::ThreadNumber thread = 0;
  // Of an uncaught Objective-C exception, else null; a reason may be null all the same.
  const char* exception_name = nullptr;
  const char* exception_reason = nullptr;
  // The crashed thread's addresses, innermost first; at most kMaxCrashFrames count.
  void* const* frames = nullptr;
  size_t frame_count = 0;
  // The one of them that the crash's signal interrupted, and the one at which a later signal
  // interrupted the report; null without one.
  const void* interrupted = nullptr;
  const void* interrupted_later = nullptr;
};

// Remembers the zone and, with its terminating zero, the application's name. For installation.
void PrepareStreamedReport(const char* application);

// Writes the report of a crash that concerns the SDK, and its path. False, and no file, when the
// crash does not concern it or the report cannot be written. One at a time; may run in a signal
// handler or on the helper thread.
bool WriteStreamedReport(const StreamedCrash& crash, const CrashSettings& settings,
                         ReportPath path);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_STREAMED_REPORT_H_
