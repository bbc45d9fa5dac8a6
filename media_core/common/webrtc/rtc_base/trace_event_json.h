// Trace events as JSON text. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_JSON_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_JSON_H_

#include <string>

#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

namespace rtc {
namespace tracing {

inline constexpr char kTraceHeader[] = "{ \"traceEvents\": [\n";
inline constexpr char kTraceFooter[] = "]}\n";

// Where the text goes when there is no heap.
class TraceTextWriter {
 public:
  virtual void Append(const char* text, size_t size) = 0;

 protected:
  ~TraceTextWriter() = default;
};

// Appends the event's line. The document's first event is not preceded by a comma.
//
// In strings only backslashes and double quotes are escaped. An empty string argument is not
// supported: its terminator is taken for its first character, and what follows is read on.
void AppendTraceEventJson(std::string* json, const TraceEvent& event, bool is_first);
// The same without the heap; safe in signal handlers.
void WriteTraceEventJson(TraceTextWriter* writer, const TraceEvent& event, bool is_first);

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_JSON_H_
