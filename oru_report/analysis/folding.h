// What of a report's frames and threads is the same and can be shown once.
#ifndef ORU_REPORT_ANALYSIS_FOLDING_H_
#define ORU_REPORT_ANALYSIS_FOLDING_H_

#include <cstddef>
#include <vector>

#include "oru_report/model/report_model.h"

namespace oru_report {

// `size` frames from `first` on, which stand there `times` times one behind the other.
struct FrameRun {
  size_t first = 0;
  size_t size = 0;
  size_t times = 1;
};

// Divides the frames from `from` on into runs. Recursion (the same one to sixteen frames three
// times or more) becomes one run.
std::vector<FrameRun> FoldFrames(const FrameList& frames, size_t from);

// Threads with the same frames, in the report's order; never empty.
using ThreadGroup = std::vector<const Thread*>;

// All threads but `without` (may be null), equal ones together, in the order of their first ones.
std::vector<ThreadGroup> FoldThreads(const Report& report, const Thread* without);

// The crash handler's frames in front of the crashed thread's: up to the signal's trampoline, as
// far as the report lets it be seen.
size_t CountHandlerFrames(const Report& report);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_FOLDING_H_
