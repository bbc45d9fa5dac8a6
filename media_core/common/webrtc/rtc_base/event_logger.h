// The queue, the thread and the file behind the built-in tracer. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_LOGGER_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_LOGGER_H_

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/platform_thread.h"
#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

namespace rtc {
namespace tracing {

// 1 while a capture runs. Changed by compare-and-swap only. Emitters read it without order: an
// event that races with the end of a capture may be in it or not.
extern std::atomic<int32_t> g_event_logging_active;

class EventLogger {
 public:
  EventLogger();
  EventLogger(const EventLogger&) = delete;
  EventLogger& operator=(const EventLogger&) = delete;

  // Queues an event; any thread.
  void AddTraceEvent(const TraceEventInput& input) { queue_.Append(input); }

  // Begins a capture, closing the file at its end if it is `owned`. Fatal while one runs.
  void Start(FILE* file, bool owned);
  // Ends the capture; harmless when none runs.
  void Stop();

 private:
  static void EventTracingThreadFunc(void* self);
  void WriteCapture();
  void WriteBatch(bool* is_first);
  void FlushText(size_t limit);

  TraceEventQueue queue_;
  PlatformThread logging_thread_;
  Event shutdown_event_;
  FILE* output_file_ = nullptr;
  bool output_file_owned_ = false;
  // The writer's: text that is not in the file yet.
  std::string text_;
};

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_LOGGER_H_
