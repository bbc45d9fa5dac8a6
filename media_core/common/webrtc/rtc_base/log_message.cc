#include "media_core/common/webrtc/rtc_base/log_message.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string_view>
#include <utility>

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/decimal_text.h"
#include "media_core/common/webrtc/rtc_base/error_labels.h"
#include "media_core/common/webrtc/rtc_base/log_sink_registry.h"
#include "media_core/common/webrtc/rtc_base/log_stderr.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/process_id.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

constexpr std::string_view LoggingSeverityString[] = {"SENSITIVE", "V", "D", "I", "W", "E"};

// The sinks and their lock. Never destroyed: threads that outlive main may log. In one cache line:
// who gets the lock has got what it guards.
struct LogState {
  CriticalSection g_log_crit;
  LogSinkRegistry streams;
};
constexpr size_t kCacheLine = 64;
static_assert(sizeof(LogState) <= kCacheLine);

LogState* MakeState();

// No static local: a child forked while another thread makes that would wait for the thread.
std::atomic<LogState*> g_state{nullptr};

// Made by LogMessage::Start(), or before that where an initialiser of a source without this header
// logs.
LogState& State() {
  LogState* const state = g_state.load(std::memory_order_acquire);
  return state != nullptr ? *state : *MakeState();
}

LogState* MakeState() {
  void* memory = nullptr;
  if (posix_memalign(&memory, kCacheLine, sizeof(LogState)) != 0) {
    throw std::bad_alloc();
  }
  auto* const made = new (memory) LogState();
  LogState* first = nullptr;
  if (!g_state.compare_exchange_strong(first, made)) {
    made->~LogState();
    free(memory);
    return first;
  }
  return made;
}

// Whether the calling thread holds the log's lock for its fork.
thread_local bool t_locked_for_fork = false;

// With the lock held no other thread is inside a sink, so that the child finds all sinks whole. A
// sink that takes its time is not waited for: it is the child's risk then (see LogSink), and the
// parent's fork is not held up.
void LockForFork() {
  constexpr int64_t kPatienceNs = 20 * kNumNanosecsPerMillisec;
  t_locked_for_fork = State().g_log_crit.TryEnterWithin(kPatienceNs);
}

void UnlockAfterFork() {
  if (t_locked_for_fork) {
    State().g_log_crit.Leave();
  }
}

void UnlockInChild() {
  LogState& state = State();
  if (!state.g_log_crit.RenewInForkedChild()) {
    state.streams.ForgetWalks();
  }
  UnlockAfterFork();
  LogMessage::UpdateMinLogSeverity();
}

// At start-up, so that no fork comes before it; failing costs a forked child its guarantee, nothing
// else. Before most other code's handlers, too: what runs before a fork runs in reverse order, so
// that their locks are taken by then and nothing is waited for with this one held.
[[maybe_unused]] const int kForksHandled =
    pthread_atfork(&LockForFork, &UnlockAfterFork, &UnlockInChild);

bool HasByte(uint64_t word, char c) {
  constexpr uint64_t kOnes = 0x0101010101010101;
  const uint64_t zero_where_equal = word ^ (kOnes * static_cast<unsigned char>(c));
  return ((zero_where_equal - kOnes) & ~zero_where_equal & (kOnes << 7)) != 0;
}

std::string_view FileNameOf(const char* path) {
  const char* const end = path + strlen(path);
  const char* name = end;
  // Eight characters at a time, as long as none of them is a separator.
  for (uint64_t word = 0; static_cast<size_t>(name - path) >= sizeof(word); name -= sizeof(word)) {
    memcpy(&word, name - sizeof(word), sizeof(word));
    if (HasByte(word, '/') || HasByte(word, '\\')) {
      break;
    }
  }
  while (name != path && name[-1] != '/' && name[-1] != '\\') {
    --name;
  }
  return {name, static_cast<size_t>(end - name)};
}

std::string_view SeverityText(LoggingSeverity sev) {
  const auto index = static_cast<uint32_t>(sev);
  return index < std::size(LoggingSeverityString) ? LoggingSeverityString[index] : "?";
}

// Writes behind what a string holds, in place: a copy of what was just stored piece by piece waits
// for the stores. No more than `room` characters.
class TextEnd {
 public:
  TextEnd(std::string* text, size_t room) : text_(text) {
    const size_t size = text->size();
    text->resize(size + room);
    end_ = &(*text)[size];
  }
  // The string then ends behind what was written.
  ~TextEnd() { text_->resize(static_cast<size_t>(end_ - text_->data())); }
  TextEnd(const TextEnd&) = delete;
  TextEnd& operator=(const TextEnd&) = delete;

  void Put(char c) { *end_++ = c; }
  void Put(std::string_view text) {
    memcpy(end_, text.data(), text.size());
    end_ += text.size();
  }
  // The first `size` of 32 bytes: a copy of a fixed size is a move of a register.
  void Put(const char (&text)[32], size_t size) {
    memcpy(end_, text, sizeof(text));
    end_ += size;
  }
  void PutDecimal(uint64_t value) {
    end_ += CountDecimalDigits(value);
    WriteDecimal(end_, value);
  }
  // Three digits at least.
  void PutPadded(uint64_t value) {
    if (value >= 1000) {
      PutDecimal(value);
      return;
    }
    const auto number = static_cast<uint32_t>(value);
    Put(static_cast<char>('0' + number / 100));
    Put(static_cast<char>('0' + number / 10 % 10));
    Put(static_cast<char>('0' + number % 10));
  }

 private:
  std::string* const text_;
  char* end_;
};

// "[process:thread] ", kept as it stays the same.
class IdsText {
 public:
  static constexpr size_t kRoom = 32;

  void PutTo(TextEnd* line) {
    const int32_t process = CurrentProcessId();
    const PlatformThreadId thread = CurrentThreadId();
    if (process != process_ || thread != thread_) {
      Make(process, thread);
    }
    line->Put(text_, size_);
  }

 private:
  void Make(int32_t process, PlatformThreadId thread) {
    std::string text(1, '[');
    AppendSignedDecimal(&text, process);
    text.push_back(':');
    AppendDecimal(&text, thread);
    text.append("] ");
    size_ = text.size();
    memcpy(text_, text.data(), size_);
    process_ = process;
    thread_ = thread;
  }

  int32_t process_ = 0;
  PlatformThreadId thread_ = 0;
  size_t size_ = 0;
  char text_[kRoom] = {};
};
thread_local IdsText t_ids;

// What LoggableOnce() remembered.
thread_local LoggingSeverity t_remembered_severity = LS_NONE;

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

bool LogMessage::Start() {
  static std::atomic<bool> started{false};
  State();
  if (!started.exchange(true)) {
    static_cast<void>(atexit(&LogMessage::End));
  }
  return true;
}

void LogMessage::End() {
  // Without the lock: it may belong to a sink that does not return.
  State().streams.End();
  min_sev_.store(dbg_sev(), std::memory_order_relaxed);
}

bool LogMessage::Remember(LoggingSeverity sev) {
  t_remembered_severity = sev;
  return true;
}

LoggingSeverity LogMessage::RememberedSeverity() { return t_remembered_severity; }

void LogMessage::WritePrefix(const char* file, int line) {
  // Three numbers of up to twenty digits, the ids and what stands between them.
  constexpr size_t kRoom = 3 * kMaxDecimalDigits + IdsText::kRoom + 64;
  const std::string_view name = file == nullptr ? std::string_view() : FileNameOf(file);
  TextEnd text(&stream_->text(), kRoom + name.size());
  if (timestamps_logged()) {
    const int64_t start = LogStartTime();
    WallClockStartTime();
    const auto elapsed = static_cast<uint64_t>(SystemTimeMillis() - start);
    text.Put('[');
    text.PutPadded(elapsed / 1000);
    text.Put(':');
    text.PutPadded(elapsed % 1000);
    text.Put("] ");
  }
  if (threads_logged()) {
    t_ids.PutTo(&text);
  }
  text.Put('[');
  text.Put(SeverityText(severity_));
  text.Put("] ");
  if (file == nullptr) {
    return;
  }
  text.Put('(');
  text.Put(name);
  text.Put(':');
  if (line < 0) {
    text.Put('-');
  }
  text.PutDecimal(line < 0 ? 0 - static_cast<uint64_t>(line) : static_cast<uint64_t>(line));
  text.Put("): ");
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
  int64_t first_ms = start_ms.load(std::memory_order_relaxed);
  if (first_ms != 0) {
    return first_ms;
  }
  const int64_t now_ms = SystemTimeMillis();
  return start_ms.compare_exchange_strong(first_ms, now_ms) ? now_ms : first_ms;
}

uint32_t LogMessage::WallClockStartTime() {
  static const uint32_t start_s = static_cast<uint32_t>(time(nullptr));
  return start_s;
}

void LogMessage::OutputToDebug(const std::string& line, LoggingSeverity /*sev*/,
                               const std::string& /*tag*/) {
  if (LogToStderrWanted(log_to_stderr())) {
    WriteLogLineToStderr(line);
  }
}

}  // namespace rtc
