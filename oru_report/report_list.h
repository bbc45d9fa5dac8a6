// Finds crash reports in a folder.
#ifndef ORU_REPORT_REPORT_LIST_H_
#define ORU_REPORT_REPORT_LIST_H_

#include <cstdint>
#include <string>
#include <vector>

namespace oru_report {

// What a report's name and place tell. Fields that the name does not give are "?".
struct ReportEntry {
  std::string path;
  std::string kind;
  std::string app;
  std::string session;
  // "2024-03-05 07:08:09", the crashing machine's local time.
  std::string time;
  // The subfolder, one a version of the SDK; empty for reports that lie in the folder itself.
  std::string version;
  // Bytes.
  uint64_t size = 0;
};

// Finds the reports in `dir` and in its direct subfolders, newest first. Names that begin as a
// report's and end in
// ".log" but do not have its five fields (an app id with "_" in it, say) are listed with "?". False
// when `dir` cannot be opened, with a sentence in `error`.
bool FindReports(const std::string& dir, std::vector<ReportEntry>* entries, std::string* error);

// An aligned table with a heading line, or "no reports" for an empty list.
std::string FormatTable(const std::vector<ReportEntry>& entries);

// A JSON array of objects, one a line.
std::string FormatJson(const std::vector<ReportEntry>& entries);

}  // namespace oru_report

#endif  // ORU_REPORT_REPORT_LIST_H_
