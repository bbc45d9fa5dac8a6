// Many reports, equal crashes together.
#ifndef ORU_REPORT_ANALYSIS_CRASH_GROUPS_H_
#define ORU_REPORT_ANALYSIS_CRASH_GROUPS_H_

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "oru_report/analysis/fingerprint.h"

namespace oru_report {

struct CrashGroup {
  Fingerprint fingerprint;
  std::string kind;
  // Exception and reason, or the cause; those of the example.
  std::string detail;
  std::string place;
  size_t count = 0;
  // "2024-03-05 07:08:09", empty when no report has a time.
  std::string first_time;
  std::string last_time;
  // Reports by version of the SDK, by app, and by day ("2024-03-05").
  std::map<std::string, size_t> versions;
  std::map<std::string, size_t> apps;
  std::map<std::string, size_t> days;
  // The newest whole report.
  std::string example;
  std::string example_time;
};

// Keeps what is counted, not the reports.
class CrashGroups {
 public:
  void Add(const std::string& file, const Report& report, const Headline& headline);

  size_t reports() const { return reports_; }
  // The largest first, of equal ones the one that was seen last; then by fingerprint.
  std::vector<const CrashGroup*> Sorted() const;
  // Null when there is none.
  const CrashGroup* Find(const std::string& id) const;

 private:
  std::unordered_map<std::string, CrashGroup> groups_;
  size_t reports_ = 0;
};

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_CRASH_GROUPS_H_
