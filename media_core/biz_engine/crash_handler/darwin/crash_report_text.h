// The text of a crash report: the methods of OruRTCCrashReport (ReportText).
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_

#include <string>

namespace CrashHandler {

// Makes the text's probes ready: the date's formatter, locale and zone, the bundle's list. The
// application's name. For installation. (The call is also what brings the report's methods out of a
// static library: a category has no symbol that others refer to.)
std::string PrepareReportText();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_
