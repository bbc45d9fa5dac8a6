#include "media_core/common/webrtc/rtc_base/log_stream.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

namespace rtc {
namespace {

// A stream that grew beyond this is not kept.
constexpr size_t kMaxKeptCapacity = 2 * 1024 * 1024 + 64 * 1024;
// One that grew beyond this is kept while lines as long as that come now and then.
constexpr size_t kOrdinaryCapacity = 64 * 1024;
constexpr int kShortLinesBeforeRelease = 64;

}  // namespace

LogStreamBuffer::int_type LogStreamBuffer::overflow(int_type c) {
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    text_.push_back(traits_type::to_char_type(c));
  }
  return traits_type::not_eof(c);
}

std::streamsize LogStreamBuffer::xsputn(const char* data, std::streamsize size) {
  text_.append(data, static_cast<size_t>(size));
  return size;
}

LogStreamBuffer::pos_type LogStreamBuffer::seekoff(off_type offset,
                                                   std::ios_base::seekdir direction,
                                                   std::ios_base::openmode mode) {
  if (offset != 0 || direction != std::ios_base::cur || (mode & std::ios_base::out) == 0) {
    return pos_type(off_type(-1));
  }
  return pos_type(static_cast<off_type>(text_.size()));
}

void LogStreamBuffer::imbue(const std::locale& /*locale*/) { imbued_ = true; }

// The idle streams of each thread.
class LogStreamPool {
 public:
  static LogStream* Take() {
    LogStream* const stream = t_idle;
    if (stream == nullptr) {
      return Make();
    }
    t_idle = stream->next_;
    stream->Reset();
    return stream;
  }

  static void Return(LogStream* stream) {
    if (t_phase != Phase::kOpen || !IsWorthKeeping(stream)) {
      Destroy(stream);
      return;
    }
    stream->next_ = t_idle;
    t_idle = stream;
  }

 private:
  // A thread that ends runs destructors that may log after its streams are gone.
  enum class Phase : char { kUnused, kOpen, kClosed };

  static bool IsWorthKeeping(LogStream* stream) {
    const size_t capacity = stream->text().capacity();
    if (capacity <= kOrdinaryCapacity) {
      return true;
    }
    stream->short_lines_ = stream->text().size() > kOrdinaryCapacity ? 0 : stream->short_lines_ + 1;
    return capacity <= kMaxKeptCapacity && stream->short_lines_ < kShortLinesBeforeRelease;
  }

  struct Closer {
    Closer() { t_phase = Phase::kOpen; }
    ~Closer() {
      t_phase = Phase::kClosed;
      while (LogStream* const stream = t_idle) {
        t_idle = stream->next_;
        Destroy(stream);
      }
    }
    Closer(const Closer&) = delete;
    Closer& operator=(const Closer&) = delete;
    // Makes the thread's object exist.
    void Touch() const {}
  };

  static LogStream* Make() {
    if (t_phase != Phase::kClosed) {
      thread_local const Closer closer;
      closer.Touch();
    }
    // Zeroed: bytes that no member has are compared with the state, too.
    std::unique_ptr<void, decltype(&free)> memory(calloc(1, sizeof(LogStream)), &free);
    if (memory == nullptr) throw std::bad_alloc();
    auto* const stream = new (memory.get()) LogStream();
    static_cast<void>(memory.release());
    stream->Reset();
    return stream;
  }

  static void Destroy(LogStream* stream) {
    stream->~LogStream();
    free(stream);
  }

  // Plain values: touching them costs no look at a guard.
  static thread_local LogStream* t_idle;
  static thread_local Phase t_phase;
};

thread_local LogStream* LogStreamPool::t_idle = nullptr;
thread_local LogStreamPool::Phase LogStreamPool::t_phase = LogStreamPool::Phase::kUnused;

void LogStream::Recycler::operator()(LogStream* stream) const { LogStreamPool::Return(stream); }

LogStream::Owner LogStream::Take() { return Owner(LogStreamPool::Take()); }

LogStream::LogStream()
    : std::ostream(nullptr),
      classic_locale_(locale_ == std::locale::classic()),
      pristine_(nullptr) {
  Restore();
}

bool LogStream::StateTouched() const {
  const void* const state = static_cast<const std::ios*>(this);
  return buffer_.imbued() || memcmp(fresh_state_, state, sizeof(fresh_state_)) != 0;
}

void LogStream::Restore() {
  exceptions(goodbit);
  rdbuf(&buffer_);
  clear();
  copyfmt(pristine_);
  imbue(locale_);
  buffer_.ForgetLocale();
  const void* const state = static_cast<const std::ios*>(this);
  memcpy(fresh_state_, state, sizeof(fresh_state_));
}

void LogStream::Reset() {
  text().clear();
  const std::locale current;
  const bool same_locale = current == locale_;
  if (!same_locale) {
    locale_ = current;
    classic_locale_ = locale_ == std::locale::classic();
  }
  if (!same_locale || StateTouched()) {
    Restore();
  }
}

LogStream& LogStream::WriteText(const char* data, size_t size) {
  if (PlainText()) {
    text().append(data, size);
  } else {
    static_cast<std::ostream&>(*this) << std::string_view(data, size);
  }
  return *this;
}

LogStream& LogStream::WriteText(const char* text) {
  if (text == nullptr) {
    setstate(badbit);
    return *this;
  }
  return WriteText(text, strlen(text));
}

}  // namespace rtc
