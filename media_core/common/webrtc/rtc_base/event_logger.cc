#include "media_core/common/webrtc/rtc_base/event_logger.h"

#include <utility>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {
namespace {

// Less than the 100 ms after which an event has to be in the file: writing takes its time, too.
constexpr int kLoggingIntervalMs = 75;

// Events up to here are all in the queue, or of threads that have not heard of each other's: what
// was emitted because of an event comes behind it, though the queue is read thread by thread. The
// microsecond makes up for processors that look into the queue a little before they read the clock.
uint64_t Settled() { return static_cast<uint64_t>(SystemTimeNanos() - kNumNanosecsPerMicrosec); }

int32_t CompareAndSwap(std::atomic<int32_t>* value, int32_t expected, int32_t wanted) {
  value->compare_exchange_strong(expected, wanted);
  return expected;
}

void AddInstant(const unsigned char* category_enabled, const char* name) {
  using namespace webrtc::trace_event_internal;
  if (LoadEnabled(category_enabled) != 0) {
    AddEvent(kPhaseInstant, category_enabled, name);
  }
}

}  // namespace

std::atomic<int32_t> g_event_logging_active{0};

EventLogger::EventLogger(size_t max_queued_bytes)
    : queue_(max_queued_bytes),
      logging_thread_(&EventTracingThreadFunc, this, "EventTracingThread", kLowPriority),
      shutdown_event_(/*manual_reset=*/false, /*initially_signaled=*/false) {}

void EventLogger::Start(std::unique_ptr<TraceOutput> output) {
  queue_.Clear();
  ORU_CHECK_OP_AT(__FILE__, __LINE__,
                  "0 == rtc::AtomicOps::CompareAndSwap(&g_event_logging_active, 0, 1)", EQ, 0,
                  CompareAndSwap(&g_event_logging_active, 0, 1));
  document_ = std::make_unique<TraceDocument>(std::move(output));
  writer_.store(Writer::kNobody);
  logging_thread_.Start();
  // Asked for once in the life of the process, and so is the one below: a tracer that is installed
  // later is not consulted about them.
  static const unsigned char* const category = webrtc::EventTracer::GetCategoryEnabled("webrtc");
  AddInstant(category, "EventLogger::Start");
}

void EventLogger::Stop() {
  static const unsigned char* const category = webrtc::EventTracer::GetCategoryEnabled("webrtc");
  // Emitted while the capture still runs, so that it ends the file.
  AddInstant(category, "EventLogger::Stop");
  const bool was_active = CompareAndSwap(&g_event_logging_active, 1, 0) == 1;
  if (!was_active && !logging_thread_.IsRunning()) {
    return;
  }
  shutdown_event_.Set();
  logging_thread_.Stop();
  document_.reset();
}

void EventLogger::EventTracingThreadFunc(void* self) {
  static_cast<EventLogger*>(self)->WriteCapture();
}

void EventLogger::WriteCapture() {
  bool shutting_down = false;
  while (!shutting_down) {
    shutting_down = shutdown_event_.Wait(kLoggingIntervalMs);
    Writer nobody = Writer::kNobody;
    if (!writer_.compare_exchange_strong(nobody, Writer::kThread)) {
      // A crash has written all there was.
      continue;
    }
    WriteEvents(shutting_down ? TraceMerge::kNoLimit : Settled());
    if (shutting_down && ThreadHasDocument()) {
      document_->End();
    }
    Writer thread = Writer::kThread;
    writer_.compare_exchange_strong(thread, Writer::kNobody);
  }
}

void EventLogger::WriteEvents(uint64_t until) {
  TraceMerge events(until);
  queue_.Read(&events);
  while (const TraceEvent* const event = events.Next()) {
    if (!ThreadHasDocument()) {
      return;
    }
    document_->Add(*event);
    if (document_->is_flushed()) {
      // While the rest waits, so that emitters can use its memory.
      queue_.Release();
    }
  }
  document_->AddLost(queue_.TakeDropped());
  // Whole lines reach the file, should the process be killed before the next pass.
  document_->Flush();
  queue_.Release();
}

}  // namespace tracing
}  // namespace rtc
