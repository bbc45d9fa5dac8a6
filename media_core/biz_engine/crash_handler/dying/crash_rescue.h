// The second way to a crash's report. While the ordinary report is made, the crash may show that it
// has broken what that needs: it faults, aborts, or waits for ever for a lock. Then the crashed
// thread itself, interrupted at that point, writes a plain report (plain_report.h).
//
// All of this is for the thread that has the crash turn (crash_turn.h), and may run in its signal
// handlers.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_RESCUE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_RESCUE_H_

#include <cstddef>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

// A report of that kind is due.
void ExpectReport(CrashType kind);
// What a plain report would tell: the crashed thread's frames, and the exception's words.
void RememberFrames(void* const* frames, int count);
void RememberException(const char* name, const char* reason);
// No report is due any more.
void ForgetReport();

// For the ordinary report's file: from the one to the other it is under way and nothing is rescued.
// Outside a crash they do nothing. `path` is where the report is now; null when it is nowhere.
void BeginReportFile();
void EndReportFile(const char* path);

// Writes a plain report if one is due and none is written or being written, and the crash concerns
// the SDK. False when no report was due any more.
bool RescueReport();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_RESCUE_H_
