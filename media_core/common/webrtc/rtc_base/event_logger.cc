#include "media_core/common/webrtc/rtc_base/event_logger.h"

#include <utility>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {
namespace {

constexpr int kLoggingIntervalMs = 100;

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
  output_ = std::move(output);
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
  if (CompareAndSwap(&g_event_logging_active, 1, 0) != 1) {
    return;
  }
  shutdown_event_.Set();
  logging_thread_.Stop();
}

void EventLogger::EventTracingThreadFunc(void* self) {
  static_cast<EventLogger*>(self)->WriteCapture();
}

void EventLogger::WriteCapture() {
  TraceDocument document(std::move(output_));
  bool shutting_down = false;
  while (!shutting_down) {
    shutting_down = shutdown_event_.Wait(kLoggingIntervalMs);
    WriteBatch(&document);
  }
  document.End();
}

void EventLogger::WriteBatch(TraceDocument* document) {
  TraceBatch batch = queue_.TakeAll();
  while (!batch.empty()) {
    // Given back while the rest waits, so that emitters can use its memory.
    const TraceBatch piece = batch.TakeFirst();
    piece.ForEach([document](const TraceEvent& event) { document->Add(event); });
    queue_.Recycle(piece);
  }
  document->AddLost(batch.dropped());
  // Whole lines reach the file, should the process be killed before the next pass.
  document->Flush();
}

}  // namespace tracing
}  // namespace rtc
