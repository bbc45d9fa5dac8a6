// One event of a trace file.
#ifndef ORU_REPORT_MODEL_TRACE_LINE_H_
#define ORU_REPORT_MODEL_TRACE_LINE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace oru_report {

struct TraceLine {
  std::string name;
  std::string category;
  // 'B', 'E' or 'I'.
  char phase = 0;
  // Microseconds of the trace's clock.
  int64_t micros = 0;
  uint32_t thread = 0;
  // What stands between the braces, as it is.
  std::string_view args;
};

// Reads a line as the tracer writes it, one event a line. False for anything else, times beyond
// kMaxTraceMicros included. `args` points into `line`.
constexpr int64_t kMaxTraceMicros = int64_t{1} << 56;
bool ReadTraceLine(std::string_view line, TraceLine* event);

// The calendar time that the event brings with it, in microseconds since 1970; -1 when it is none.
int64_t CalendarOf(const TraceLine& event);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_TRACE_LINE_H_
