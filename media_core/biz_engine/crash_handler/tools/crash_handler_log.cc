#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

namespace {

constexpr size_t kMessageSize = 2048;

// Relaxed: they are set before crash capture is installed, and nothing else hangs on them.
std::atomic<bool> log_to_console{false};
std::atomic<CrashLogSink> log_callback{nullptr};

}  // namespace

void PrintLog(CrashHandlerLogLevel level, const char* tag, const char* file, int32_t line,
              const char* format, ...) {
  char message[kMessageSize] = {};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof(message), format, arguments);
  va_end(arguments);

  if (log_to_console.load(std::memory_order_relaxed)) {
    std::printf("%s (%s:%d): %s \n", tag, file, line, message);
  }
  const CrashLogSink sink = log_callback.load(std::memory_order_relaxed);
  if (sink != nullptr) sink(level, tag, file, line, message);
}

void EnableOutputLogToConsole(bool enable) {
  log_to_console.store(enable, std::memory_order_relaxed);
}

void SetLogSink(CrashLogSink sink) { log_callback.store(sink, std::memory_order_relaxed); }

}  // namespace CrashHandler
