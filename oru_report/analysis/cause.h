// Known ends of a program, by the functions that a crashed thread is in.
#ifndef ORU_REPORT_ANALYSIS_CAUSE_H_
#define ORU_REPORT_ANALYSIS_CAUSE_H_

#include <string>

#include "oru_report/analysis/resolver.h"

namespace oru_report {

// What the crashed thread's frames from `first` on say about the crash ("a failed assertion"), or
// "". The outermost of the known functions counts: an assertion ends in abort().
std::string CauseOf(Resolver* resolver, size_t first);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_CAUSE_H_
