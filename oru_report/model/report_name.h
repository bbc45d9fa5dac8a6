// What a report's file name tells.
#ifndef ORU_REPORT_MODEL_REPORT_NAME_H_
#define ORU_REPORT_MODEL_REPORT_NAME_H_

#include <string>
#include <string_view>

namespace oru_report {

// Empty where the name does not tell.
struct ReportName {
  std::string app;
  std::string session;
  // "Signal", "Exception" or "MemoryError".
  std::string kind;
  // "2024-03-05 07:08:09", the crashing machine's local time.
  std::string time;
};

// Reads "Crash_APP_SESSION_KIND_TIME.log", also with what browsers and packers add behind it
// (" (1)", ".gz"). Of a name with more fields, because an id has "_" in it, the last two are read.
ReportName ParseReportName(std::string_view file_name);

// Whether a name ends as those of reports and of what packs them do.
bool LooksLikeReportFile(std::string_view file_name);
bool LooksLikeZip(std::string_view file_name);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_REPORT_NAME_H_
