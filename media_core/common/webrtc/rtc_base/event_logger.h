// The queue, the thread and the file behind the built-in tracer. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_LOGGER_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_LOGGER_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/platform_thread.h"
#include "media_core/common/webrtc/rtc_base/trace_document.h"
#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"
#include "media_core/common/webrtc/rtc_base/trace_output.h"

namespace rtc {
namespace tracing {

// 1 while a capture runs. Changed by compare-and-swap only. Emitters read it without order: an
// event that races with the end of a capture may be in it or not.
extern std::atomic<int32_t> g_event_logging_active;

class EventLogger {
 public:
  // At most so much memory is taken by events that wait to be written; see TraceEventQueue.
  explicit EventLogger(size_t max_queued_bytes = TraceEventQueue::kMaxBytes);
  EventLogger(const EventLogger&) = delete;
  EventLogger& operator=(const EventLogger&) = delete;

  // Queues an event; any thread.
  void AddTraceEvent(const TraceEventInput& input) { queue_.Append(input); }

  // Begins a capture. Fatal while one runs.
  void Start(std::unique_ptr<TraceOutput> output);
  // Ends the capture; harmless when none runs.
  void Stop();

  // See trace_crash_flush.h.
  bool FlushOfCrash(int64_t max_wait_ns);

 private:
  // Who has the document.
  enum class Writer : int32_t { kNobody, kThread, kCrash };

  static void EventTracingThreadFunc(void* self);
  void WriteCapture();
  void WriteEvents(uint64_t until);
  bool ThreadHasDocument() const { return writer_.load() == Writer::kThread; }
  void TakeDocumentForCrash(int64_t max_wait_ns);

  TraceEventQueue queue_;
  PlatformThread logging_thread_;
  Event shutdown_event_;
  // Of the last capture; between Start() and Stop() touched by whoever has it.
  std::unique_ptr<TraceDocument> document_;
  std::atomic<Writer> writer_{Writer::kNobody};
};

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_LOGGER_H_
