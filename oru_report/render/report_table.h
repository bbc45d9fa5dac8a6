// Lists of reports.
#ifndef ORU_REPORT_RENDER_REPORT_TABLE_H_
#define ORU_REPORT_RENDER_REPORT_TABLE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace oru_report {

// Fields that nothing tells are "?".
struct ReportEntry {
  std::string path;
  std::string kind;
  std::string app;
  std::string session;
  // "2024-03-05 07:08:09", the crashing machine's local time.
  std::string time;
  std::string version;
  // Where it crashed.
  std::string place;
  uint64_t bytes = 0;
  bool whole = true;
};

// Newest first; those without a time last, by path.
void SortNewestFirst(std::vector<ReportEntry>* entries);

// An aligned table with a heading line, or "no reports" for an empty list. With a `width` other
// than 0 no line has more columns than that: first the session, then the file, of which the end
// stays, and the place, of which the function's own name stays, are shortened.
std::string FormatTable(const std::vector<ReportEntry>& entries, size_t width);

// A JSON array of objects, one a line.
std::string FormatJson(const std::vector<ReportEntry>& entries);

// Columns of a terminal that a text takes: one a character, two where it is of an East Asian
// script.
size_t ColumnsOf(const std::string& text);

// The text, or its beginning and "…" when it has more columns than `most`.
std::string Shortened(const std::string& text, size_t most);

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_REPORT_TABLE_H_
