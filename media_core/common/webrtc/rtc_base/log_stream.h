// The text stream of a log message.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_STREAM_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_STREAM_H_

#include <locale>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <type_traits>

#include "media_core/common/webrtc/rtc_base/decimal_text.h"

namespace rtc {
// Internal: a friend below would otherwise be taken for public.
class [[gnu::visibility("hidden")]] LogStreamPool;
}  // namespace rtc

#pragma GCC visibility push(default)

namespace rtc {

// Collects characters in a string.
class LogStreamBuffer : public std::streambuf {
 public:
  // What was written so far. May be appended to directly.
  std::string& text() { return text_; }
  const std::string& text() const { return text_; }
  // Whether a locale was set.
  bool imbued() const { return imbued_; }
  // Makes it false again.
  void ForgetLocale() { imbued_ = false; }

 protected:
  // There is no put area, so that every character of the standard stream passes through these.
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* data, std::streamsize size) override;
  // Tells the position (tellp()); moving it is refused.
  pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                   std::ios_base::openmode mode) override;
  // Notes that a locale was set.
  void imbue(const std::locale& locale) override;

 private:
  std::string text_;
  bool imbued_ = false;
};

// A std::ostream over a string. Everything that can be streamed into a std::ostream can be streamed
// into it and looks the same: text, characters and integers in the ordinary format are written
// straight into the string, all else takes the standard library's way.
//
// Making a standard stream costs more than writing a line, so streams are kept for the next message
// of the same thread. A message begins with the ordinary format whatever the last one left behind,
// and with the global locale of that moment. Not thread-safe.
class LogStream : public std::ostream {
 public:
  // Hands a stream back when a message is done with it, on any thread.
  struct Recycler {
    // Keeps the stream for the calling thread's next message.
    void operator()(LogStream* stream) const;
  };
  // Owns a stream for the time of one message.
  using Owner = std::unique_ptr<LogStream, Recycler>;

  // An empty stream in its first state; reused where the calling thread has one to spare.
  static Owner Take();

  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;
  ~LogStream() override = default;

  // The text so far. May be appended to.
  std::string& text() { return buffer_.text(); }

  // As operator<< of std::ostream; used for the exact types only (see below).
  template <class T>
  LogStream& WriteInteger(T value);
  // Appends text as it stands, or padded when a width was asked for. Null data gives a failed
  // stream, as it does with std::ostream.
  LogStream& WriteText(const char* data, size_t size);
  LogStream& WriteText(const char* text);

 private:
  friend class LogStreamPool;

  LogStream();

  // Back to the state of a new stream.
  void Reset();
  // What every message begins with.
  void Restore();
  bool StateTouched() const;
  // Text may be appended without asking the standard stream: nothing failed, no width is set.
  bool PlainText() const { return rdstate() == goodbit && width() == 0; }
  // The same for integers: decimal digits, no sign or base shown, no locale with grouping.
  bool PlainNumbers() const {
    return PlainText() && flags() == kOrdinaryFlags && classic_locale_ && !buffer_.imbued();
  }

  static constexpr std::ios_base::fmtflags kOrdinaryFlags = skipws | dec;

  LogStreamBuffer buffer_;
  std::locale locale_;
  bool classic_locale_ = false;
  // A stream that nobody has used, and the bytes of this one's state when it was like that.
  // Whatever a message changes (the format, the words of manipulators, callbacks, the tied stream)
  // leaves a trace there, and not all of it can be asked for.
  const std::ios pristine_;
  unsigned char fresh_state_[sizeof(std::ios)];
  // In a row, with room for longer ones.
  int short_lines_ = 0;
  // The next idle stream of the thread.
  LogStream* next_ = nullptr;
};

template <class T>
LogStream& LogStream::WriteInteger(T value) {
  if (!PlainNumbers()) {
    static_cast<std::ostream&>(*this) << value;
  } else if constexpr (std::is_signed_v<T>) {
    AppendSignedDecimal(&text(), value);
  } else {
    AppendDecimal(&text(), value);
  }
  return *this;
}

namespace log_stream_internal {

template <class T, class... Types>
inline constexpr bool kIsOneOf = (std::is_same_v<T, Types> || ...);

template <class T>
inline constexpr bool kIsPlainInteger =
    kIsOneOf<T, bool, short, int, long, long long, unsigned short, unsigned int, unsigned long,
             unsigned long long>;

template <class T>
inline constexpr bool kIsPlainValue = kIsPlainInteger<T> || kIsOneOf<T, char, char*, const char*>;

}  // namespace log_stream_internal

// The short way for exactly these types. As templates they take part for nothing that merely
// converts to one of them, so an enumeration or class with a printer of its own keeps it; and as
// free functions they hide none of the standard stream's own operations.
template <class T, std::enable_if_t<log_stream_internal::kIsPlainValue<T>, int> = 0>
LogStream& operator<<(LogStream& stream, T value) {
  if constexpr (log_stream_internal::kIsPlainInteger<T>) {
    return stream.WriteInteger(value);
  } else if constexpr (std::is_same_v<T, char>) {
    return stream.WriteText(&value, 1);
  } else if (value != nullptr) {
    // The compiler knows the length of a literal.
    return stream.WriteText(value, std::char_traits<char>::length(value));
  } else {
    return stream.WriteText(value);
  }
}
// The short way for strings.
template <class T, std::enable_if_t<std::is_same_v<T, std::string>, int> = 0>
LogStream& operator<<(LogStream& stream, const T& text) {
  return stream.WriteText(text.data(), text.size());
}

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_STREAM_H_
