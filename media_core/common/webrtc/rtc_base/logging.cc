#include "media_core/common/webrtc/rtc_base/logging.h"

#include <pthread.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string_view>
#include <utility>

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/decimal_text.h"
#include "media_core/common/webrtc/rtc_base/log_preference.h"
#include "media_core/common/webrtc/rtc_base/log_sink_registry.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

constexpr std::string_view LoggingSeverityString[] = {"SENSITIVE", "V", "D", "I", "W", "E"};

// The size of ALOG's buffer, the terminator included.
constexpr size_t kFormatBufferSize = 4090;

// The sinks and their lock. Made on first use, because initialisers of other files may log; never
// destroyed, because destructors of other files and threads that outlive main may.
struct LogState {
  CriticalSection g_log_crit;
  LogSinkRegistry streams;
};

LogState* MakeState();

// No static local: a child forked while another thread makes that would wait for the thread.
std::atomic<LogState*> g_state{nullptr};

LogState& State() {
  LogState* const state = g_state.load(std::memory_order_acquire);
  return state != nullptr ? *state : *MakeState();
}

void ReleaseStreams() {
  LogState& state = State();
  const CritScope lock(&state.g_log_crit);
  state.streams.Clear();
}

// A child is forked with the lock held by the forking thread, so that the list is whole in it.
void LockForFork() { State().g_log_crit.Enter(); }
void UnlockAfterFork() { State().g_log_crit.Leave(); }
void UnlockInChild() {
  LogState& state = State();
  if (state.streams.dispatching()) {
    state.g_log_crit.Leave();
    return;
  }
  // A new lock, free of the entries of waiting threads, which the child does not have.
  state.g_log_crit.~CriticalSection();
  new (&state.g_log_crit) CriticalSection();
}

LogState* MakeState() {
  auto* const made = new LogState();
  LogState* first = nullptr;
  if (!g_state.compare_exchange_strong(first, made)) {
    delete made;
    return first;
  }
  static_cast<void>(atexit(&ReleaseStreams));
  return made;
}

// At start-up, so that no fork comes before it; failing costs a forked child its guarantee, nothing
// else.
[[maybe_unused]] const int kForksHandled =
    pthread_atfork(&LockForFork, &UnlockAfterFork, &UnlockInChild);

const char* FileNameOf(const char* path) {
  const char* name = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/' || *p == '\\') {
      name = p + 1;
    }
  }
  return name;
}

std::string_view SeverityText(LoggingSeverity sev) {
  const auto index = static_cast<uint32_t>(sev);
  return index < std::size(LoggingSeverityString) ? LoggingSeverityString[index] : "?";
}

// "[2024-01-31 23:59:59.123]" in local time.
void FormatLocalTime(char* buffer, size_t size) {
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  snprintf(buffer, size, "[%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d]", local.tm_year + 1900,
           local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
           static_cast<int>(get_time_ms_c() % 1000));
}

bool StderrWanted(bool by_default) {
  switch (ReadLogPreference()) {
    case LogPreference::kNoBundle:
      return by_default;
    case LogPreference::kTrue:
      return true;
    case LogPreference::kUnset:
    case LogPreference::kFalse:
      break;
  }
  return false;
}

// The line that messages of ALOG say they come from.
int FormattedSourceLine(LoggingSeverity sev) {
  constexpr int kVerboseLine = 693;
  constexpr int kLinesPerCase = 3;
  return kVerboseLine + kLinesPerCase * (sev - LS_VERBOSE);
}

// Cuts what does not fit with a newline and a terminator, makes the newlines at the end one.
void EndWithOneNewline(char (&buffer)[kFormatBufferSize], size_t length) {
  length = std::min(length, kFormatBufferSize - 2);
  while (length > 0 && buffer[length - 1] == '\n') {
    --length;
  }
  buffer[length] = '\n';
  buffer[length + 1] = '\0';
}

}  // namespace

LogMessage::LogMessage(const char* file, int line, LoggingSeverity sev, LogErrorContext err_ctx,
                       int err, const char* /*module*/, int sink_id)
    : stream_(LogStream::Take()), severity_(sev), sink_id_(sink_id), tag_(kLibjingle) {
  WritePrefix(file, line);
  if (err_ctx != ERRCTX_NONE) {
    SetError(err_ctx, err);
  }
}

LogMessage::LogMessage(const char* file, int line, LoggingSeverity sev, const std::string& tag,
                       int sink_id)
    : LogMessage(file, line, sev, ERRCTX_NONE, 0, nullptr, sink_id) {
  SetTag(tag);
}

LogMessage::LogMessage(const char* file, int line, LoggingSeverity sev, const std::string& tag,
                       const std::string& subtag, int sink_id)
    : LogMessage(file, line, sev, ERRCTX_NONE, 0, nullptr, sink_id) {
  SetTag(subtag.empty() ? tag : tag + "_" + subtag);
}

LogMessage::LogMessage(LoggingSeverity sev)
    : stream_(LogStream::Take()), severity_(sev), sink_id_(0) {
  if (threads_logged()) {
    std::string& text = stream_->text();
    text.push_back('[');
    AppendDecimal(&text, CurrentThreadId());
    text.append("] ");
  }
}

LogMessage::~LogMessage() {
  std::string& line = stream_->text();
  if (!extra_.empty()) {
    line.append(" : ").append(extra_);
  }
  line.push_back('\n');
  if (severity_ >= LS_NONE) {
    return;
  }
  if (severity_ >= dbg_sev()) {
    OutputToDebug(line, severity_, tag_);
  }
  LogState& state = State();
  const CritScope lock(&state.g_log_crit);
  state.streams.Dispatch(line, severity_, sink_id_);
}

void LogMessage::WritePrefix(const char* file, int line) {
  std::string& text = stream_->text();
  if (timestamps_logged()) {
    const int64_t start = LogStartTime();
    WallClockStartTime();
    const uint64_t elapsed = static_cast<uint64_t>(SystemTimeMillis() - start);
    text.push_back('[');
    AppendPaddedDecimal(&text, elapsed / 1000, 3);
    text.push_back(':');
    AppendPaddedDecimal(&text, elapsed % 1000, 3);
    text.append("] ");
  }
  if (threads_logged()) {
    text.push_back('[');
    AppendSignedDecimal(&text, CurrentProcessId());
    text.push_back(':');
    AppendDecimal(&text, CurrentThreadId());
    text.append("] ");
  }
  text.push_back('[');
  text.append(SeverityText(severity_));
  text.append("] ");
  if (file != nullptr) {
    text.push_back('(');
    text.append(FileNameOf(file));
    text.push_back(':');
    AppendSignedDecimal(&text, line);
    text.append("): ");
  }
}

void LogMessage::SetError(LogErrorContext err_ctx, int err) {
  char number[16];
  snprintf(number, sizeof(number), "[0x%08x]", static_cast<unsigned int>(err));
  extra_ = number;
  if (err_ctx == ERRCTX_ERRNO) {
    extra_.append(" ").append(ErrnoDescription(err));
  } else if (err_ctx == ERRCTX_OSSTATUS) {
    const std::string text = DescriptionFromOSStatus(err);
    extra_.append(" ").append(text.empty() ? "Unknown error" : text);
  }
}

void LogMessage::SetTag(std::string tag) {
  tag_ = std::move(tag);
  stream_->text().append(tag_).append(": ");
}

void LogMessage::LogThreads(bool on) { thread_.store(on, std::memory_order_relaxed); }

void LogMessage::LogTimestamps(bool on) { timestamp_.store(on, std::memory_order_relaxed); }

void LogMessage::SetLogToStderr(bool on) { log_to_stderr_.store(on, std::memory_order_relaxed); }

void LogMessage::LogToDebug(LoggingSeverity min_sev) {
  dbg_sev_.store(min_sev, std::memory_order_relaxed);
  UpdateMinLogSeverity();
}

LoggingSeverity LogMessage::UpdateMinLogSeverity() {
  LogState& state = State();
  const CritScope lock(&state.g_log_crit);
  // The last entry only, on purpose: see min_sev().
  const LoggingSeverity min_sev = std::min(dbg_sev(), state.streams.LastThreshold());
  min_sev_.store(min_sev, std::memory_order_relaxed);
  return min_sev;
}

LoggingSeverity LogMessage::GetLogToStream(LogSink* sink) {
  LogState& state = State();
  const CritScope lock(&state.g_log_crit);
  return state.streams.LowestThreshold(sink);
}

void LogMessage::AddLogToStream(LogSink* sink, LoggingSeverity min_sev) {
  if (sink == nullptr) {
    return;
  }
  LogState& state = State();
  const CritScope lock(&state.g_log_crit);
  state.streams.Append(sink, min_sev);
  UpdateMinLogSeverity();
}

void LogMessage::RemoveLogToStream(LogSink* sink) {
  LogState& state = State();
  const CritScope lock(&state.g_log_crit);
  state.streams.RemoveFirst(sink);
  UpdateMinLogSeverity();
}

void LogMessage::ConfigureLogging(const char* params) {
  if (params == nullptr) {
    return;
  }
  std::string_view rest(params);
  while (!rest.empty()) {
    const size_t blank = rest.find(' ');
    const std::string_view word = rest.substr(0, blank);
    rest.remove_prefix(blank == std::string_view::npos ? rest.size() : blank + 1);
    // No word names the threshold that a level word would be for, so level words set nothing.
    if (word == "tstamp") {
      LogTimestamps(true);
    } else if (word == "thread") {
      LogThreads(true);
    }
  }
  LogToDebug(dbg_sev());
}

int64_t LogMessage::LogStartTime() {
  static std::atomic<int64_t> start_ms{0};
  const int64_t now_ms = SystemTimeMillis();
  int64_t first_ms = 0;
  return start_ms.compare_exchange_strong(first_ms, now_ms) ? now_ms : first_ms;
}

uint32_t LogMessage::WallClockStartTime() {
  static const uint32_t start_s = static_cast<uint32_t>(time(nullptr));
  return start_s;
}

void LogMessage::OutputToDebug(const std::string& line, LoggingSeverity /*sev*/,
                               const std::string& /*tag*/) {
  if (!StderrWanted(log_to_stderr())) {
    return;
  }
  char stamp[120];
  FormatLocalTime(stamp, sizeof(stamp));
  fprintf(stderr, "%s %s", stamp, line.c_str());
  fflush(stderr);
}

void ALOG(LoggingSeverity sev, const char* format, ...) {
  if (sev < LS_VERBOSE || sev > LS_ERROR || !LogMessage::Loggable(sev)) {
    return;
  }
  char buffer[kFormatBufferSize];
  va_list args;
  va_start(args, format);
  const int length = vsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  // A format that cannot be written (an unencodable wide character) gives an empty line.
  EndWithOneNewline(buffer, length < 0 ? 0 : static_cast<size_t>(length));
  LogMessage("logging.cc", FormattedSourceLine(sev), sev).stream() << buffer;
}

int64_t get_time_ms_c() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

}  // namespace rtc
