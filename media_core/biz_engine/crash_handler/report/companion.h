// The companion of a report: one JSON object a line (docs/crash-companion.md), made without the
// heap and locks in memory of a fixed size, whoever made the report.
//
// Everything here may run in a signal handler or on the helper thread.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_COMPANION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_COMPANION_H_

#include "media_core/biz_engine/crash_handler/crash_settings.h"
#include "media_core/biz_engine/crash_handler/report/crash_facts.h"
#include "media_core/biz_engine/crash_handler/report/report_file.h"

namespace CrashHandler {

// How the report was made.
enum class ReportWay { kOrdinary, kRescued };

// Gives the finished report its name (see ReportFile::Commit), `path`; before that its companion is
// there, if companions are asked for, it can be written and the report is whole so far. Where the
// report does not get its name, there is no companion either.
bool CommitWithCompanion(ReportFile* report, const char* path, const CrashFacts& crash,
                         const CrashSettings& settings, ReportWay way);

// For when that does not come back: gives the report its name at once, without a companion. False
// when no companion is being written.
bool CommitWithoutCompanion();

// Removes a report that another one takes the place of.
void RemoveWithCompanion(const char* report_path);

// The companion of a crash that is not the SDK's, if asked for: beside where its report would be.
void WriteHostCompanion(const char* report_path, const CrashFacts& crash,
                        const CrashSettings& settings);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_COMPANION_H_
