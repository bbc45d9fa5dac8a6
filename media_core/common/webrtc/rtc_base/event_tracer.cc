#include "media_core/common/webrtc/rtc_base/event_tracer.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/event_logger.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_crash_flush.h"
#include "media_core/common/webrtc/rtc_base/trace_event_pause.h"
#include "media_core/common/webrtc/rtc_base/trace_output.h"

namespace rtc {
namespace tracing {
namespace {

using webrtc::trace_event_internal::PauseAnnotations;

// Null until set up.
std::atomic<EventLogger*> g_event_logger{nullptr};

// Returns what was there.
EventLogger* SwapLogger(EventLogger* expected, EventLogger* wanted) {
  g_event_logger.compare_exchange_strong(expected, wanted);
  return expected;
}

const unsigned char* InternalGetCategoryEnabled(const char* name) {
  constexpr char kPrefix[] = "disabled-by-default-";
  const bool disabled = strncmp(name, kPrefix, sizeof(kPrefix) - 1) == 0;
  // A category is its own enabled byte, so that the pointer serves as its name later.
  return reinterpret_cast<const unsigned char*>(disabled ? "" : name);
}

// Id and flags are not recorded.
void InternalAddTraceEvent(char phase, const unsigned char* category_enabled, const char* name,
                           unsigned long long /*id*/, int num_args, const char** arg_names,
                           const unsigned char* arg_types, const unsigned long long* arg_values,
                           unsigned char /*flags*/) {
  if (g_event_logging_active.load(std::memory_order_relaxed) == 0) {
    return;
  }
  EventLogger* const logger = g_event_logger.load(std::memory_order_acquire);
  if (logger == nullptr) {
    return;
  }
  constexpr int kMaxArgs = std::numeric_limits<uint16_t>::max();
  const ClockInterface* const clock = GetClockForTesting();
  logger->AddTraceEvent(
      {{name, category_enabled, static_cast<uint64_t>(SystemTimeNanos()), CurrentThreadId(),
        static_cast<uint16_t>(std::clamp(num_args, 0, kMaxArgs)), phase,
        static_cast<uint8_t>(clock == nullptr ? 0 : TraceEvent::kOwnTime)},
       arg_names,
       arg_types,
       arg_values,
       clock == nullptr ? 0 : static_cast<uint64_t>(TimeMicros())});
}

// Another tracer may have taken this one's place.
void PauseIfInstalled(bool paused) {
  if (webrtc::g_add_trace_event_ptr.load(std::memory_order_relaxed) == &InternalAddTraceEvent) {
    PauseAnnotations(paused);
  }
}

void Start(EventLogger* logger, std::unique_ptr<TraceOutput> output) {
  logger->Start(std::move(output));
  PauseIfInstalled(false);
}

// Runs in a forked child, which has neither the writer thread nor a use for the parent's file: its
// events are dropped, and it may set up a tracer of its own. The parent's logger is kept, unused,
// because its thread cannot be joined here.
void ForgetParentsTracer() {
  static EventLogger* parents = nullptr;
  parents = g_event_logger.exchange(nullptr);
  static_cast<void>(parents);
  g_event_logging_active.store(0);
}

// At start-up: a child forked while another thread registers would wait for that thread.
[[maybe_unused]] const int kForksHandled = pthread_atfork(nullptr, nullptr, &ForgetParentsTracer);

}  // namespace

void SetupInternalTracer() {
  auto* const logger = new EventLogger();
  ORU_CHECK_AT(__FILE__, __LINE__,
               "rtc::AtomicOps::CompareAndSwapPtr( &g_event_logger, "
               "static_cast<EventLogger*>(nullptr), new EventLogger()) == nullptr",
               SwapLogger(nullptr, logger) == nullptr);
  webrtc::SetupEventTracer(InternalGetCategoryEnabled, InternalAddTraceEvent);
  PauseAnnotations(true);
}

bool StartInternalCapture(const char* filename) {
  EventLogger* const logger = g_event_logger.load();
  if (logger == nullptr) {
    return false;
  }
  std::unique_ptr<TraceOutput> output = filename == nullptr ? nullptr : OpenTraceFile(filename);
  if (output == nullptr) {
    ORU_LOG(LS_ERROR) << "Failed to open trace file '" << (filename == nullptr ? "" : filename)
                      << "' for writing.";
    return false;
  }
  Start(logger, std::move(output));
  return true;
}

void StartInternalCaptureToFile(FILE* file) {
  EventLogger* const logger = g_event_logger.load();
  if (logger != nullptr && file != nullptr) {
    Start(logger, UseTraceFile(file));
  }
}

void StopInternalCapture() {
  EventLogger* const logger = g_event_logger.load();
  if (logger != nullptr) {
    logger->Stop();
    PauseIfInstalled(true);
  }
}

bool FlushTraceOfCrash(int64_t max_wait_ns) {
  EventLogger* const logger = g_event_logger.load();
  return logger != nullptr && logger->FlushOfCrash(max_wait_ns);
}

void ShutdownInternalTracer() {
  StopInternalCapture();
  EventLogger* const old_logger = g_event_logger.load();
  ORU_CHECK_AT(__FILE__, __LINE__,
               "rtc::AtomicOps::CompareAndSwapPtr( &g_event_logger, old_logger, "
               "static_cast<EventLogger*>(nullptr)) == old_logger",
               SwapLogger(old_logger, nullptr) == old_logger);
  delete old_logger;
  webrtc::SetupEventTracer(nullptr, nullptr);
}

}  // namespace tracing
}  // namespace rtc

extern "C" bool OruRtcFlushTraceOfCrash(int64_t max_wait_ns) {
  return rtc::tracing::FlushTraceOfCrash(max_wait_ns);
}
