// Which crashes are the same one.
#ifndef ORU_REPORT_ANALYSIS_FINGERPRINT_H_
#define ORU_REPORT_ANALYSIS_FINGERPRINT_H_

#include <string>
#include <vector>

#include "oru_report/analysis/headline.h"

namespace oru_report {

// Says the same of one crash in every build and on every machine: neither addresses nor offsets,
// threads, ids or times are part of it, and only what the report itself says.
struct Fingerprint {
  // Sixteen hexadecimal digits.
  std::string id;
  // What it is made of: the kind with an exception's name, then names of the crashed thread's
  // frames, the SDK's and the app's, innermost first. Recursion stands there once, frames without a
  // name as their image, templates of the C++ library not at all. Where there are no such frames,
  // those of the system.
  std::vector<std::string> parts;
};

Fingerprint FingerprintOf(const Report& report, const Headline& headline);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_FINGERPRINT_H_
