// Names of the files in a dump folder. The names of this and its neighbours stand in a namespace of
// their own: the dying side has the like under its own rules.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_REPORT_NAMES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_REPORT_NAMES_H_

#include <string>

namespace CrashHandler::dumps {

// What every report's name begins and ends with.
constexpr char kReportPrefix[] = "Crash_";
constexpr char kReportEnding[] = ".log";

struct ReportName {
  std::string app_id;
  std::string session_id;
  std::string kind;
};

// Takes "Crash_APP_SESSION_KIND_YYYY-MM-DD-hh-mm-ss.log" apart; ids may hold "_", and are then cut
// at the first one. False for any other name.
bool ParseReportName(const std::string& name, ReportName* parts);

// Whether `name` is that of a report with exactly these ids, "_" or not; an empty `session_id`
// stands for all.
bool IsReportNameOf(const std::string& name, const std::string& app_id,
                    const std::string& session_id);

// `report`, which ends in ".log", with another ending.
std::string WithEnding(const std::string& report, const char* ending);

bool EndsIn(const std::string& text, const std::string& ending);
bool BeginsWith(const std::string& text, const std::string& beginning);

// The record of a session: "Session_APP_SESSION.run", in the ids every byte but letters, digits,
// "-" and "." as "%XX".
std::string SessionFileName(const std::string& app_id, const std::string& session_id);
bool IsSessionFileName(const std::string& name);

// Text without line ends and back: "%XX" for control characters and percent signs.
std::string EscapeLine(const std::string& text);
std::string UnescapeLine(const std::string& text);

}  // namespace CrashHandler::dumps

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_REPORT_NAMES_H_
