// A log line beside two other loggers: to a callback, to a buffered file, and not at all. Every
// side writes the same things: time, thread id, severity, source file and line, and a text with a
// number. The names are OPERATION/SIDE/VARIANT.
#include <benchmark/benchmark.h>
// Both of these define macros of common names; glog's are the ones used.
#include <fcntl.h>
#include <glog/logging.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "bench/second_thread.h"
#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/file_log_sink.h"
#include "media_core/common/webrtc/rtc_base/logging.h"

namespace {

// What each callback does with a line.
std::atomic<size_t> sBytes{0};
void Take(size_t size) { sBytes.fetch_add(size, std::memory_order_relaxed); }

std::string TempFile(const char* name) {
  return "/tmp/oru_bench_" + std::to_string(getpid()) + "_" + name;
}

class CallbackSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& line) override { Take(line.size()); }
};

class SpdlogCallbackSink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t text;
    formatter_->format(message, text);
    Take(text.size());
  }
  void flush_() override {}
};

constexpr char kSpdlogPattern[] = "[%H:%M:%S.%e] [%P:%t] [%L] (%s:%#): %v";

class GlogCallbackSink : public google::LogSink {
 public:
  void send(google::LogSeverity severity, const char* /*full*/, const char* base, int line,
            const google::LogMessageTime& time, const char* text, size_t size) override {
    Take(ToString(severity, base, line, time, text, size).size());
  }
};

void OwnLines(benchmark::State& state, rtc::LogSink* sink) {
  if (state.thread_index() == 0) {
    rtc::LogMessage::LogTimestamps(true);
    rtc::LogMessage::LogThreads(true);
    rtc::LogMessage::AddLogToStream(sink, rtc::LS_INFO);
  }
  int i = 0;
  for (auto _ : state) {
    ORU_LOG(LS_INFO) << "Frame " << ++i << " of the stream was decoded";
  }
  if (state.thread_index() == 0) {
    rtc::LogMessage::RemoveLogToStream(sink);
  }
}

void SpdlogLines(benchmark::State& state, spdlog::logger* logger) {
  int i = 0;
  for (auto _ : state) {
    SPDLOG_LOGGER_INFO(logger, "Frame {} of the stream was decoded", ++i);
  }
}

void BM_CallbackLine_Own(benchmark::State& state) {
  static CallbackSink sink;
  OwnLines(state, &sink);
}

void BM_CallbackLine_Spdlog(benchmark::State& state) {
  static spdlog::logger* const logger = [] {
    auto* const made = new spdlog::logger("callback", std::make_shared<SpdlogCallbackSink>());
    made->set_pattern(kSpdlogPattern);
    return made;
  }();
  SpdlogLines(state, logger);
}

void BM_CallbackLine_Glog(benchmark::State& state) {
  static GlogCallbackSink sink;
  int i = 0;
  for (auto _ : state) {
    LOG_TO_SINK_BUT_NOT_TO_LOGFILE(&sink, INFO) << "Frame " << ++i << " of the stream was decoded";
  }
}

void OwnFileLines(benchmark::State& state, const rtc::FileLogSinkOptions& options) {
  static std::unique_ptr<rtc::FileLogSink> sink;
  const std::string path = TempFile("own");
  if (state.thread_index() == 0) {
    sink = std::make_unique<rtc::FileLogSink>(path, options);
  }
  OwnLines(state, sink.get());
  if (state.thread_index() == 0) {
    sink.reset();
    unlink(path.c_str());
  }
}

// In the file when the call returns.
void BM_FileLine_Own(benchmark::State& state) { OwnFileLines(state, {}); }

// In a buffer, as the peer's.
void BM_FileLine_Buffered(benchmark::State& state) {
  rtc::FileLogSinkOptions options;
  options.survive_kill = false;
  OwnFileLines(state, options);
}

// Each line in a write of its own.
void BM_FlushedLine_Own(benchmark::State& state) {
  rtc::FileLogSinkOptions options;
  options.buffer_bytes = 0;
  OwnFileLines(state, options);
}

void BM_FlushedLine_Spdlog(benchmark::State& state) {
  static std::unique_ptr<spdlog::logger> logger;
  const std::string path = TempFile("spdlog");
  if (state.thread_index() == 0) {
    logger = std::make_unique<spdlog::logger>(
        "flushed", std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true));
    logger->set_pattern(kSpdlogPattern);
    logger->flush_on(spdlog::level::info);
  }
  int i = 0;
  // The first thread makes it before the loops begin.
  for (auto _ : state) {
    SPDLOG_LOGGER_INFO(logger.get(), "Frame {} of the stream was decoded", ++i);
  }
  if (state.thread_index() == 0) {
    logger.reset();
    unlink(path.c_str());
  }
}

// The system call by itself, with as long a line; several threads write to one file.
void BM_FlushedLine_Write(benchmark::State& state) {
  const std::string path = TempFile("write");
  const std::string line(96, 'x');
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  for (auto _ : state) {
    benchmark::DoNotOptimize(write(fd, line.data(), line.size()));
  }
  close(fd);
  unlink(path.c_str());
}

void BM_LongLine_Own(benchmark::State& state) {
  CallbackSink sink;
  rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  const std::string text(static_cast<size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    ORU_LOG(LS_INFO) << text;
  }
  rtc::LogMessage::RemoveLogToStream(&sink);
}

// What a line of that length costs anybody: its text goes into the line.
void BM_LongLine_Memcpy(benchmark::State& state) {
  const std::string text(static_cast<size_t>(state.range(0)), 'x');
  std::string line(text.size(), '\0');
  for (auto _ : state) {
    memcpy(&line[0], text.data(), text.size());
    benchmark::ClobberMemory();
  }
}

void BM_FileLine_Spdlog(benchmark::State& state) {
  const std::string path = TempFile("spdlog");
  {
    spdlog::logger logger("file", std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true));
    logger.set_pattern(kSpdlogPattern);
    SpdlogLines(state, &logger);
  }
  unlink(path.c_str());
}

void BM_DisabledLevel_Own(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    ORU_LOG(LS_INFO) << "Frame " << i;
    benchmark::DoNotOptimize(++i);
  }
}

void BM_DisabledLevel_GlogVlog(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    VLOG(2) << "Frame " << i;
    benchmark::DoNotOptimize(++i);
  }
}

void BM_DisabledLevel_Spdlog(benchmark::State& state) {
  static spdlog::logger logger("disabled", std::make_shared<SpdlogCallbackSink>());
  logger.set_level(spdlog::level::err);
  int i = 0;
  for (auto _ : state) {
    SPDLOG_LOGGER_INFO(&logger, "Frame {}", i);
    benchmark::DoNotOptimize(++i);
  }
}

BENCHMARK(BM_CallbackLine_Own)->Name("log_callback/oru")->ThreadRange(1, 8)->UseRealTime();
BENCHMARK(BM_CallbackLine_Spdlog)->Name("log_callback/spdlog")->ThreadRange(1, 8)->UseRealTime();
BENCHMARK(BM_CallbackLine_Glog)->Name("log_callback/glog")->ThreadRange(1, 8)->UseRealTime();
BENCHMARK(BM_FileLine_Own)->Name("log_file/oru")->UseRealTime();
BENCHMARK(BM_FileLine_Buffered)->Name("log_file/buffered")->UseRealTime();
BENCHMARK(BM_FileLine_Spdlog)->Name("log_file/spdlog")->UseRealTime();
BENCHMARK(BM_FlushedLine_Own)->Name("log_flushed/oru")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_FlushedLine_Spdlog)->Name("log_flushed/spdlog")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_FlushedLine_Write)->Name("log_flushed/write")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_LongLine_Own)->Name("log_long/oru")->RangeMultiplier(4)->Range(1024, 1024 * 1024);
BENCHMARK(BM_LongLine_Memcpy)
    ->Name("log_long/memcpy")
    ->RangeMultiplier(4)
    ->Range(1024, 1024 * 1024);
BENCHMARK(BM_DisabledLevel_Own)->Name("log_disabled/oru");
BENCHMARK(BM_DisabledLevel_Spdlog)->Name("log_disabled/spdlog");
BENCHMARK(BM_DisabledLevel_GlogVlog)->Name("log_disabled/glog_vlog");

}  // namespace

int main(int argc, char** argv) {
  const bench::SecondThread second_thread;
  google::InitGoogleLogging(argv[0]);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
