#include "media_core/common/webrtc/rtc_base/event_logger.h"

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"
#include "media_core/common/webrtc/rtc_base/trace_event_json.h"

namespace rtc {
namespace tracing {
namespace {

constexpr int kLoggingIntervalMs = 100;
// Text is handed to the file in pieces of about this size.
constexpr size_t kWriteSize = 64 * 1024;

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

EventLogger::EventLogger()
    : logging_thread_(&EventTracingThreadFunc, this, "EventTracingThread", kLowPriority),
      shutdown_event_(/*manual_reset=*/false, /*initially_signaled=*/false) {}

void EventLogger::Start(FILE* file, bool owned) {
  output_file_ = file;
  output_file_owned_ = owned;
  queue_.Clear();
  ORU_CHECK_OP_AT(__FILE__, __LINE__,
                  "0 == rtc::AtomicOps::CompareAndSwap(&g_event_logging_active, 0, 1)", EQ, 0,
                  CompareAndSwap(&g_event_logging_active, 0, 1));
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
  text_ = kTraceHeader;
  bool is_first = true;
  bool shutting_down = false;
  while (!shutting_down) {
    shutting_down = shutdown_event_.Wait(kLoggingIntervalMs);
    WriteBatch(&is_first);
  }
  text_.append(kTraceFooter);
  FlushText(0);
  fflush(output_file_);
  if (output_file_owned_) {
    fclose(output_file_);
  }
  output_file_ = nullptr;
}

void EventLogger::WriteBatch(bool* is_first) {
  const TraceBatch batch = queue_.TakeAll();
  batch.ForEach([this, is_first](const TraceEvent& event) {
    AppendTraceEventJson(&text_, event, *is_first);
    *is_first = false;
    FlushText(kWriteSize);
  });
  queue_.Recycle(batch);
  FlushText(0);
  // Whole lines reach the file, should the process be killed before the next pass.
  fflush(output_file_);
}

void EventLogger::FlushText(size_t limit) {
  if (text_.size() > limit) {
    fwrite(text_.data(), 1, text_.size(), output_file_);
    text_.clear();
  }
}

}  // namespace tracing
}  // namespace rtc
