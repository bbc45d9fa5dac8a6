// Where a report goes: DIRECTORY/VERSION/Crash_APP_SESSION_KIND_YYYY-MM-DD-hh-mm-ss.log, joined by
// bytes: what other systems take for a separator or an escape is part of a name here. May run in a
// signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_PATH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_PATH_H_

#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"
#include "media_core/biz_engine/crash_handler/report/civil_time.h"

namespace CrashHandler {

// What a report is named after; the texts are the caller's.
struct ReportName {
  const char* dump_dir = "";
  const char* sdk_version = "";
  const char* app_id = "";
  const char* session_id = "";
  const char* kind = "";
  machine::CivilTime time = {};
};

// The version's directory; an empty version is the dump directory itself. No "/" at the end unless
// the directory has it.
void AppendReportDirectory(const ReportName& name, machine::TextBuffer* path);
// "/" and the file's name; of the name's fields only the directory's are not used.
void AppendReportFileName(const ReportName& name, machine::TextBuffer* path);

// A date, `gap`, and the time of day with `colon` between its parts.
void AppendTime(const machine::CivilTime& time, char gap, char colon, machine::TextBuffer* text);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_PATH_H_
