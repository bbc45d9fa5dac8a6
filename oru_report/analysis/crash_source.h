// The source lines at which a report's crash happened.
#ifndef ORU_REPORT_ANALYSIS_CRASH_SOURCE_H_
#define ORU_REPORT_ANALYSIS_CRASH_SOURCE_H_

#include <string>
#include <vector>

#include "oru_report/analysis/headline.h"
#include "oru_report/symbols/source_text.h"

namespace oru_report {

struct CrashSource {
  // Without lines where the source is not at hand.
  SourceText text;
  int line = 0;
  // It was changed after the program was built: its lines may be other ones.
  bool newer = false;
};

// Of the frame that the headline names: the SDK's first one, or the first of all. `folders`: see
// ReadSource.
CrashSource FindCrashSource(const Headline& headline, Resolver* resolver,
                            const std::vector<std::string>& folders);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_CRASH_SOURCE_H_
