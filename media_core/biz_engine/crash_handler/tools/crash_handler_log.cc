#include <signal.h>
#include <stdio.h>
#include <time.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "utils/shared_held_signal.h"

namespace CrashHandler {

namespace {

constexpr size_t kMessageSize = 2048;

// Relaxed: they are set before crash capture is installed, and nothing else hangs on them.
std::atomic<bool> log_to_console{false};
std::atomic<CrashLogSink> log_callback{nullptr};

// A crash may have frozen the thread that holds the stream: then the lines go without the console,
// the first one after this time and the others at once.
constexpr int kConsolePatienceMs = 500;
std::atomic<bool> console_is_stuck{false};

bool LockConsole() {
  for (int waited_ms = 0; ftrylockfile(stdout) != 0; ++waited_ms) {
    if (console_is_stuck || waited_ms >= kConsolePatienceMs) {
      console_is_stuck = true;
      return false;
    }
    const timespec pause = {0, 1000000};
    nanosleep(&pause, nullptr);
  }
  console_is_stuck = false;
  return true;
}

void PrintToConsole(const char* tag, const char* file, int32_t line, const char* message) {
  if (!LockConsole()) return;
  std::printf("%s (%s:%d): %s \n", tag, file, line, message);
  // What stays behind would raise the broken pipe's signal later, outside of this line's care.
  std::fflush(stdout);
  funlockfile(stdout);
}

}  // namespace

void PrintLog(CrashHandlerLogLevel level, const char* tag, const char* file, int32_t line,
              const char* format, ...) {
  char message[kMessageSize] = {};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof(message), format, arguments);
  va_end(arguments);

  const bool to_console = log_to_console.load(std::memory_order_relaxed);
  const CrashLogSink sink = log_callback.load(std::memory_order_relaxed);
  if (!to_console && sink == nullptr) return;
  // A pipe that nobody reads is no crash of the host, least of all one that is logged in turn.
  const tessik::shared::HeldSignal broken_pipe(SIGPIPE);
  if (to_console) PrintToConsole(tag, file, line, message);
  if (sink != nullptr) sink(level, tag, file, line, message);
}

void EnableOutputLogToConsole(bool enable) {
  log_to_console.store(enable, std::memory_order_relaxed);
}

void SetLogSink(CrashLogSink sink) { log_callback.store(sink, std::memory_order_relaxed); }

}  // namespace CrashHandler
