// What the built-in tracer costs: an annotation while capturing, and writing the events.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "bench/lttng_tracepoint.h"
#include "bench/second_thread.h"
#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/trace_event_json.h"
#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

namespace {

enum class Tracer { kNone, kIdle, kCapturing };

void Begin(const benchmark::State& state, Tracer tracer) {
  if (state.thread_index() != 0 || tracer == Tracer::kNone) {
    return;
  }
  rtc::tracing::SetupInternalTracer();
  if (tracer == Tracer::kCapturing) {
    rtc::tracing::StartInternalCapture("/dev/null");
  }
}

void End(const benchmark::State& state, Tracer tracer) {
  if (state.thread_index() == 0 && tracer != Tracer::kNone) {
    rtc::tracing::ShutdownInternalTracer();
  }
}

void BM_Instant(benchmark::State& state, Tracer tracer) {
  Begin(state, tracer);
  for (auto _ : state) {
    ORU_TRACE_EVENT_INSTANT0("webrtc", "instant");
  }
  End(state, tracer);
}

void BM_InstantWithArg(benchmark::State& state, Tracer tracer) {
  Begin(state, tracer);
  int i = 0;
  for (auto _ : state) {
    ORU_TRACE_EVENT_INSTANT1("webrtc", "instant", "number", ++i);
  }
  End(state, tracer);
}

void BM_Scope(benchmark::State& state, Tracer tracer) {
  Begin(state, tracer);
  for (auto _ : state) {
    ORU_TRACE_EVENT0("webrtc", "scope");
  }
  End(state, tracer);
}

// The peer's marks while no session runs.
void BM_InstantLttng(benchmark::State& state) {
  for (auto _ : state) {
    lttng_ust_tracepoint(oru_bench, begin);
  }
}

void BM_ScopeLttng(benchmark::State& state) {
  for (auto _ : state) {
    lttng_ust_tracepoint(oru_bench, begin);
    lttng_ust_tracepoint(oru_bench, end);
  }
}

// What a program feels that does something, and then rests.
void BM_Burst(benchmark::State& state, Tracer tracer) {
  constexpr int kBurst = 200;
  Begin(state, tracer);
  for (auto _ : state) {
    usleep(1000);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kBurst; ++i) {
      ORU_TRACE_EVENT_INSTANT0("webrtc", "instant");
    }
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  End(state, tracer);
}

// From the queue to the file, with a number as argument; per event.
void BM_Flush(benchmark::State& state) {
  constexpr int kBatch = 200000;
  const char* const name = "number";
  const unsigned char type = webrtc::trace_event_internal::kTypeInt;
  FILE* const file = fopen("/tmp/oru_bench_trace.json", "w");
  std::string text;
  for (auto _ : state) {
    state.PauseTiming();
    rtc::tracing::TraceEventQueue queue;
    for (int i = 0; i < kBatch; ++i) {
      const unsigned long long value = static_cast<unsigned long long>(i);
      queue.Append({{"Encoder::Encode", reinterpret_cast<const unsigned char*>("webrtc"),
                     123456789012345ull + value, 4711, 1, 'I'},
                    &name,
                    &type,
                    &value});
    }
    rewind(file);
    state.ResumeTiming();
    rtc::tracing::TraceMerge events;
    queue.Read(&events);
    while (const rtc::tracing::TraceEvent* const event = events.Next()) {
      rtc::tracing::AppendTraceEventJson(&text, *event, false);
      if (text.size() > 64 * 1024) {
        fwrite(text.data(), 1, text.size(), file);
        text.clear();
        queue.Release();
      }
    }
    queue.Release();
  }
  fclose(file);
  unlink("/tmp/oru_bench_trace.json");
  state.SetItemsProcessed(state.iterations() * kBatch);
}

// As many events as the queue takes, even if the writer took none: what is measured is never the
// dropping of events.
constexpr int kEvents = 4000000;
static_assert(kEvents * (sizeof(rtc::tracing::TraceEvent) + sizeof(rtc::tracing::TraceArg)) <
              rtc::tracing::TraceEventQueue::kMaxBytes);

BENCHMARK_CAPTURE(BM_Instant, capturing, Tracer::kCapturing)
    ->Name("trace_instant/oru/capturing")
    ->Iterations(kEvents)
    ->Threads(1);
BENCHMARK_CAPTURE(BM_Instant, capturing_in_4, Tracer::kCapturing)
    ->Name("trace_instant/oru/capturing")
    ->Iterations(kEvents / 4)
    ->Threads(4);
BENCHMARK_CAPTURE(BM_InstantWithArg, capturing, Tracer::kCapturing)
    ->Name("trace_instant_1_argument/oru/capturing")
    ->Iterations(kEvents)
    ->Threads(1);
BENCHMARK_CAPTURE(BM_InstantWithArg, capturing_in_4, Tracer::kCapturing)
    ->Name("trace_instant_1_argument/oru/capturing")
    ->Iterations(kEvents / 4)
    ->Threads(4);
BENCHMARK_CAPTURE(BM_Burst, capturing, Tracer::kCapturing)
    ->Name("trace_burst/oru/200")
    ->Iterations(200)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_Scope, capturing, Tracer::kCapturing)
    ->Name("trace_scope/oru/capturing")
    ->Iterations(kEvents / 2)
    ->Threads(1);
BENCHMARK_CAPTURE(BM_Scope, capturing_in_4, Tracer::kCapturing)
    ->Name("trace_scope/oru/capturing")
    ->Iterations(kEvents / 8)
    ->Threads(4);
BENCHMARK_CAPTURE(BM_Instant, no_capture, Tracer::kIdle)->Name("trace_instant/oru/no_capture");
BENCHMARK_CAPTURE(BM_Instant, no_tracer, Tracer::kNone)->Name("trace_instant/oru/no_tracer");
BENCHMARK_CAPTURE(BM_Scope, no_capture, Tracer::kIdle)->Name("trace_scope/oru/no_capture");
BENCHMARK_CAPTURE(BM_Scope, no_tracer, Tracer::kNone)->Name("trace_scope/oru/no_tracer");
BENCHMARK(BM_InstantLttng)->Name("trace_instant/lttng");
BENCHMARK(BM_ScopeLttng)->Name("trace_scope/lttng");
BENCHMARK(BM_Flush)->Name("trace_flush/oru");

}  // namespace

int main(int argc, char** argv) {
  const bench::SecondThread second_thread;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
