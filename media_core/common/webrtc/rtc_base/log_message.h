// The message behind every line of the log, and the log's configuration. Included through
// logging.h, which has the rest.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_MESSAGE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_MESSAGE_H_

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>

#include "media_core/common/webrtc/rtc_base/log_severity.h"
#include "media_core/common/webrtc/rtc_base/log_sink.h"
#include "media_core/common/webrtc/rtc_base/log_stream.h"

#pragma GCC visibility push(default)

namespace rtc {

// The tag of messages that are given none.
inline constexpr char kLibjingle[] = "libjingle";

// One line. The constructor writes the prefix, the caller streams the text, the destructor puts the
// line out: to standard error, then to the sinks in their order of registration. Made, streamed
// into and destroyed by one thread at a time.
//
//   [000:123] [4711:259] [I] (file.cc:42): text : [0x00000002] No such file or directory
//
// The time (seconds and milliseconds since the first line that showed it) and the process and
// thread ids appear when switched on; the file's name without its folders when a file is given; the
// error at the end when there is one. The line always ends with a newline of its own.
class LogMessage {
 public:
  // `file` may be null. `err` is explained as `err_ctx` says. `module` is not used. A `sink_id`
  // other than 0 restricts the line to the sinks of that id (and standard error).
  LogMessage(const char* file, int line, LoggingSeverity sev, LogErrorContext err_ctx = ERRCTX_NONE,
             int err = 0, const char* module = nullptr, int sink_id = 0);
  // The tag and ": " are written before the text.
  LogMessage(const char* file, int line, LoggingSeverity sev, const std::string& tag,
             int sink_id = 0);
  // The tag is `tag`, "_" and `subtag`; `tag` alone when `subtag` is empty.
  LogMessage(const char* file, int line, LoggingSeverity sev, const std::string& tag,
             const std::string& subtag, int sink_id = 0);
  // A bare line: its prefix is the thread id, when ids are on, and nothing else. The tag is empty.
  explicit LogMessage(LoggingSeverity sev);
  ~LogMessage();
  LogMessage(const LogMessage&) = delete;
  LogMessage& operator=(const LogMessage&) = delete;

  // Where the text goes; a std::ostream. Valid as long as the message.
  LogStream& stream() { return *stream_; }

  // Whether any output might take that severity: what a caller tests before building a message.
  static bool Loggable(LoggingSeverity sev) { return sev >= min_sev(); }
  // The same; a severity that is loggable is remembered for the calling thread's next
  // RememberedSeverity(), so that an expression evaluates it once and uses it twice.
  static bool LoggableOnce(LoggingSeverity sev) { return Loggable(sev) && Remember(sev); }
  static LoggingSeverity RememberedSeverity();

  // The lowest severity that any output is taken to want: the lower of standard error's threshold
  // and the threshold of the sink added last. Only that one sink counts: sinks that want more have
  // to be added after those that want less.
  static LoggingSeverity min_sev() { return min_sev_.load(std::memory_order_relaxed); }
  // Standard error's threshold.
  static LoggingSeverity dbg_sev() { return dbg_sev_.load(std::memory_order_relaxed); }
  // What SetLogToStderr(), LogThreads() and LogTimestamps() set.
  static bool log_to_stderr() { return log_to_stderr_.load(std::memory_order_relaxed); }
  static bool threads_logged() { return thread_.load(std::memory_order_relaxed); }
  static bool timestamps_logged() { return timestamp_.load(std::memory_order_relaxed); }

  // Show the process and thread ids in each line; off at first.
  static void LogThreads(bool on);
  // Show the elapsed time in each line; off at first.
  static void LogTimestamps(bool on);
  // Sets standard error's threshold; LS_NONE at first.
  static void LogToDebug(LoggingSeverity min_sev);
  // Computes min_sev() anew and returns it.
  static LoggingSeverity UpdateMinLogSeverity();
  // Whether standard error is written where no preference decides it; true at first. The preference
  // is the boolean "logToStdErr" of the program's bundle. In a bundle it alone decides: without it
  // nothing is written.
  static void SetLogToStderr(bool on);

  // The lowest threshold of the sink's registrations, or of all when `sink` is null; LS_NONE when
  // there are none.
  static LoggingSeverity GetLogToStream(LogSink* sink = nullptr);
  // Registers a sink after those registered before. A sink registered twice gets every line twice.
  // The sink must be removed before it is destroyed. Null is ignored. At exit all registrations end
  // (no line waits for that, nor does exit wait for a sink): after the destructors of the statics
  // of every source that includes this header.
  static void AddLogToStream(LogSink* sink, LoggingSeverity min_sev);
  // Takes back the sink's first registration, if there is one. When it returns, no other thread is
  // inside the sink on behalf of that registration.
  static void RemoveLogToStream(LogSink* sink);

  // Switches on what the blank-separated words name: "tstamp" the time, "thread" the ids. The level
  // words ("sensitive", "verbose", "debug", "info", "warning", "error", "none") are accepted and
  // change no threshold; other words are ignored. Null does nothing.
  static void ConfigureLogging(const char* params);

  // The millisecond system clock when it was first asked for here: where shown times start.
  static int64_t LogStartTime();
  // The calendar time in seconds when it was first asked for here.
  static uint32_t WallClockStartTime();

  // Writes a local time stamp and the line to standard error, if preference or default say so.
  // Severity and tag are not used.
  static void OutputToDebug(const std::string& line, LoggingSeverity sev, const std::string& tag);

 private:
  // Makes the sinks' list and registers its end with the process's: before the statics of whoever
  // includes this header, so that their destructors still log.
  static bool Start();
  static void End();
  static inline const bool started_ = Start();

  static bool Remember(LoggingSeverity sev);
  void WritePrefix(const char* file, int line);
  void SetError(LogErrorContext err_ctx, int err);
  void SetTag(std::string tag);

  // Read on every thread without the lock; each stands for itself, so relaxed order is enough.
  static inline std::atomic<LoggingSeverity> min_sev_{LS_NONE};
  static inline std::atomic<LoggingSeverity> dbg_sev_{LS_NONE};
  static inline std::atomic<bool> log_to_stderr_{true};
  static inline std::atomic<bool> thread_{false};
  static inline std::atomic<bool> timestamp_{false};

  LogStream::Owner stream_;
  LoggingSeverity severity_;
  int32_t sink_id_;
  std::string tag_;
  // The error's description, put at the end of the line.
  std::string extra_;
};

// Makes a log statement a condition. `&` binds looser than `<<` and tighter than `&&`.
class LogMessageLogged {
 public:
  // True: the message was loggable.
  bool operator&(std::ostream& /*stream*/) const { return true; }
};

}  // namespace rtc

#pragma GCC visibility pop

// For the macros of logging.h: a message when that severity is loggable. As a chain of `&&` it
// binds as one expression behind a condition: `failed && ORU_LOG(LS_WARNING) << "text"`.
#define ORU_LOG_IF_LOGGABLE_(sev, ...) \
  ::rtc::LogMessage::Loggable(sev) &&  \
      ::rtc::LogMessageLogged() & ::rtc::LogMessage(__FILE__, __LINE__, sev __VA_ARGS__).stream()

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_MESSAGE_H_
