// What a program logged and traced before it crashed.
#ifndef ORU_REPORT_ANALYSIS_TIMELINE_H_
#define ORU_REPORT_ANALYSIS_TIMELINE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "oru_report/model/report_model.h"

namespace oru_report {

struct TimelineRow {
  // Microseconds since 1970, UTC; of an event without a calendar those of its trace's own clock.
  int64_t micros = 0;
  bool from_trace = false;
  // The event is of the thread that crashed.
  bool crashed_thread = false;
  std::string text;
};

// Rows in order, and what can be said about them.
struct TimelineRows {
  std::vector<TimelineRow> rows;
  // Whether `micros` is calendar time. Without it rows of a log have no times at all.
  bool dated = false;
  bool given = false;
  // Sentences for the reader.
  std::vector<std::string> notes;
};

struct TimelineOptions {
  // Paths; empty for none.
  std::string log;
  std::string trace;
  // Minutes that the crashing machine's clock was ahead of UTC. Unknown: as this machine's.
  std::optional<int> utc_offset;
};

struct Timeline {
  // The moment of the report, UTC; nothing where it does not tell.
  std::optional<int64_t> crash_micros;
  // "UTC+02:00, as on this machine".
  std::string zone;
  TimelineRows log;
  TimelineRows trace;
  // Files that could not be read, and why.
  std::vector<std::string> problems;
};

// At most kMaxTimelineRows rows of each file: the last ones that are not behind the crash, as far
// as times tell.
Timeline MakeTimeline(const Report& report, const TimelineOptions& options);

// Reads "+02:00", "-0330", "+5" or "Z". False for anything else, and beyond 18 hours.
bool ReadUtcOffset(const std::string& text, int* minutes);

// "2024-03-05 07:08:09.123" of microseconds since 1970.
std::string CalendarText(int64_t micros);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_TIMELINE_H_
