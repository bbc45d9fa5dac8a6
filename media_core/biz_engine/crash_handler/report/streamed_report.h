// A crash report made without the platform's objects, the heap and locks, in memory of a fixed
// size: whatever a crash has broken, and however many threads, images and words there are. The file
// is the ordinary report's in name and text, but for two things: the names of the frames in the
// crashed thread's section are those of the symbol tables, and the time's zone is that of the
// installation.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_STREAMED_REPORT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_STREAMED_REPORT_H_

#include "media_core/biz_engine/crash_handler/crash_settings.h"
#include "media_core/biz_engine/crash_handler/report/crash_facts.h"
#include "media_core/biz_engine/crash_handler/report/report_file.h"

namespace CrashHandler {

// Remembers the zone and, with its terminating zero, the application's name. For installation.
void PrepareStreamedReport(const char* application);

// Writes the report of a crash that concerns the SDK, with its companion (companion.h), and its
// path. False, and no report, when the crash does not concern it or the report cannot be written.
// One at a time; may run in a signal handler or on the helper thread.
//
// Before threads are interrupted that cannot be looked at beforehand (machine/threads/
// thread_capture.h), a draft is written there, which the report then replaces. True as soon as that
// is there.
bool WriteStreamedReport(const CrashFacts& crash, const CrashSettings& settings, ReportPath path);

// The same to the given path, with no other thread's stack: what is left where looking at those
// ends the process. Whom the crash concerns has been found out already.
bool WriteDraft(const CrashFacts& crash, const CrashSettings& settings, const char* path);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_STREAMED_REPORT_H_
