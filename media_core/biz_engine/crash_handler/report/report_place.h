// The directory that a report may go to. May run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_PLACE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_PLACE_H_

#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"
#include "media_core/biz_engine/crash_handler/report/report_path.h"

namespace CrashHandler {

enum class ReportPlace {
  kAsked,    // where the name says
  kDefault,  // below the default directory
  kNone,     // nowhere
};

// Makes the version's directory where it is missing and appends the report's path to `path`.
//
// A directory of the version that is a symbolic link or another user's is not used: who made it
// would choose where the report goes, or read it. The default directory takes its place, and
// `name->dump_dir` becomes that; where it is no better, the report goes nowhere. A program that
// runs with more rights than its caller has writes nothing below the default directory, which the
// caller's HOME names. A directory that cannot be made is no reason: the report is lost when it is
// written.
ReportPlace MakeReportPlace(ReportName* name, const char* default_dir, machine::TextBuffer* path);

// Whether anything may be written below the dump directory at all: see above.
bool MayUseDumpDir(const char* dump_dir, const char* default_dir);

// What DirExistsOrCreat tells of a dump directory, without a string: it can be written to, or could
// be made.
bool IsUsableDumpDir(const char* path);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_PLACE_H_
