// How the cost of what happens inside a process grows with its size: a log line with its length, a
// capture with its events, cutting a text with its pieces. Prints "SUBJECT SIZE SECONDS" lines, the
// least of several rounds each, as what disturbs only adds.
//
//   growth_bench [--quick]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/second_thread.h"
#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace {

double Seconds(const std::function<void()>& run) {
  const auto start = std::chrono::steady_clock::now();
  run();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Print(const char* subject, size_t size, int rounds, const std::function<double()>& round) {
  double least = round();
  for (int i = 1; i < rounds; ++i) {
    least = std::min(least, round());
  }
  printf("%s %zu %.9f\n", subject, size, least);
  fflush(stdout);
}

class CountingSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& line) override { bytes_ += line.size(); }

 private:
  size_t bytes_ = 0;
};

// For every size as many bytes, out of the same memory: what grows is not the cost of a processor
// whose caches are left.
void LogLines(int rounds) {
  CountingSink sink;
  rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  const std::string text(size_t{64} * 1024 * 1024, 'x');
  for (size_t size = 1024; size <= size_t{1024} * 1024; size *= 4) {
    const size_t lines = text.size() / size;
    Print("log_line_bytes", size, rounds, [&] {
      return Seconds([&] {
               for (size_t i = 0; i < lines; ++i) {
                 ORU_LOG(LS_INFO) << std::string_view(text).substr(i * size, size);
               }
             }) /
             static_cast<double>(lines);
    });
  }
  rtc::LogMessage::RemoveLogToStream(&sink);
}

// A capture from its start until all is written.
void TraceEvents(int rounds) {
  rtc::tracing::SetupInternalTracer();
  for (const size_t events : {20000u, 80000u, 320000u, 1280000u, 5000000u}) {
    Print("trace_events", events, rounds, [events] {
      return Seconds([events] {
        rtc::tracing::StartInternalCapture("/dev/null");
        for (size_t i = 0; i < events; ++i) {
          ORU_TRACE_EVENT_INSTANT1("webrtc", "instant", "number", i);
        }
        rtc::tracing::StopInternalCapture();
      });
    });
  }
  rtc::tracing::ShutdownInternalTracer();
}

// Likewise: as many pieces for every size.
void Pieces(int rounds) {
  constexpr size_t kPieces = 1024000;
  for (size_t pieces = 1000; pieces <= kPieces; pieces *= 4) {
    std::string text;
    for (size_t i = 0; i < pieces; ++i) {
      text.append("piece,");
    }
    const std::vector<std::string> texts(kPieces / pieces, text);
    std::vector<std::vector<std::string>> fields(texts.size());
    Print("pieces", pieces, rounds, [&] {
      return Seconds([&] {
               for (size_t i = 0; i < texts.size(); ++i) {
                 rtc::split(texts[i], ',', &fields[i]);
               }
             }) /
             static_cast<double>(texts.size());
    });
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bench::SecondThread second_thread;
  const int rounds = argc > 1 && strcmp(argv[1], "--quick") == 0 ? 3 : 9;
  LogLines(rounds);
  TraceEvents(rounds);
  Pieces(rounds);
  return 0;
}
