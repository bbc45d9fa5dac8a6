#include "media_core/common/webrtc/rtc_base/string_encode.h"

#include <cstring>
#include <memory>

#include "media_core/common/webrtc/rtc_base/string_encode_internal.h"

namespace rtc {

using string_encode_internal::DigitPair;
using string_encode_internal::HEX;
using string_encode_internal::NothingToDo;

namespace {

// Membership of every byte value, so that a long list of illegal characters costs nothing per byte.
class ByteSet {
 public:
  ByteSet(const char* illegal, char escape) {
    for (; *illegal != '\0'; ++illegal) Add(*illegal);
    Add(escape);
  }
  bool Has(char ch) const { return member_[static_cast<unsigned char>(ch)]; }

 private:
  void Add(char ch) { member_[static_cast<unsigned char>(ch)] = true; }

  bool member_[256] = {};
};

// Above this the buffer of `transform` is allocated: threads may have small stacks.
constexpr size_t kStackBuffer = 4096;

}  // namespace

size_t escape(char* buffer, size_t buflen, const char* source, size_t srclen, const char* illegal,
              char escape) {
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  const ByteSet special(illegal, escape);
  size_t written = 0;
  for (size_t i = 0; i < srclen; ++i) {
    const bool is_special = special.Has(source[i]);
    if (written + (is_special ? 2 : 1) >= buflen) break;
    if (is_special) buffer[written++] = escape;
    buffer[written++] = source[i];
  }
  buffer[written] = '\0';
  return written;
}

size_t unescape(char* buffer, size_t buflen, const char* source, size_t srclen, char escape) {
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  size_t written = 0;
  for (size_t i = 0; i < srclen && written + 1 < buflen; ++i) {
    if (source[i] == escape && i + 1 < srclen) ++i;
    buffer[written++] = source[i];
  }
  buffer[written] = '\0';
  return written;
}

size_t encode(char* buffer, size_t buflen, const char* source, size_t srclen, const char* illegal,
              char escape) {
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  const ByteSet special(illegal, escape);
  size_t written = 0;
  for (size_t i = 0; i < srclen; ++i) {
    const bool is_special = special.Has(source[i]);
    if (written + (is_special ? 3 : 1) >= buflen) break;
    if (!is_special) {
      buffer[written++] = source[i];
      continue;
    }
    const auto byte = static_cast<unsigned char>(source[i]);
    buffer[written++] = escape;
    buffer[written++] = HEX[byte >> 4];
    buffer[written++] = HEX[byte & 15];
  }
  buffer[written] = '\0';
  return written;
}

size_t decode(char* buffer, size_t buflen, const char* source, size_t srclen, char escape) {
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  size_t written = 0;
  size_t i = 0;
  while (i < srclen && written + 1 < buflen) {
    if (source[i] == escape && srclen - i > 2 && DigitPair(source + i + 1, buffer + written)) {
      i += 3;
    } else {
      buffer[written] = source[i++];
    }
    ++written;
  }
  buffer[written] = '\0';
  return written;
}

const char* unsafe_filename_characters() { return ""; }

char make_char_safe_for_filename(char ch) {
  const auto byte = static_cast<unsigned char>(ch);
  if (byte < 32 || byte >= 0x80) return '_';
  return std::strchr("\"*/:<>?\\", ch) != nullptr ? '_' : ch;
}

size_t transform(std::string& value, size_t maxlen, const std::string& source, Transform t) {
  char on_stack[kStackBuffer];
  std::unique_ptr<char[]> allocated;
  if (maxlen > kStackBuffer) allocated.reset(new char[maxlen]);
  char* const buffer = allocated ? allocated.get() : on_stack;
  const size_t length = t(buffer, maxlen, source.data(), source.size());
  value.assign(buffer, length);
  return length;
}

std::string s_transform(const std::string& source, Transform t) {
  std::string result;
  transform(result, source.size() * 3 + 1, source, t);
  return result;
}

}  // namespace rtc
