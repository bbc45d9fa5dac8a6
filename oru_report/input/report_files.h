// Finds the report files that a user names: files, folders, archives, standard input.
#ifndef ORU_REPORT_INPUT_REPORT_FILES_H_
#define ORU_REPORT_INPUT_REPORT_FILES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace oru_report {

struct ReportFile {
  // For people: a path, "ARCHIVE: ENTRY", or "-".
  std::string path;
  // Last component, and that of the folder it lies in.
  std::string name;
  std::string folder;
  // As read, unpacked.
  uint64_t bytes = 0;
  std::string text;
  // Why the text is not all of the file; empty when it is.
  std::string gap;
};

// What was not taken for a report.
struct PassedOver {
  // Of names that no report has.
  size_t other_files = 0;
  // Named like reports, but with another beginning.
  size_t no_reports = 0;
  // A sentence each, the first ones.
  std::vector<std::string> problems;
  size_t problem_count = 0;

  void AddProblem(const std::string& sentence);
  // "passed over: 3 files of other kinds, 2 that are no reports"; empty when nothing was.
  std::string Summary() const;
};

// Called once a report file.
using ReportVisitor = std::function<void(ReportFile file)>;

// Visits what `paths` name, in their order; folders by name, with what lies below them, links
// aside. A file that is named itself is visited whatever it is; one in a folder or an archive only
// if it is named like a report and begins like one. Archives are read in place.
void VisitReportFiles(const std::vector<std::string>& paths, const ReportVisitor& visit,
                      PassedOver* passed);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_REPORT_FILES_H_
