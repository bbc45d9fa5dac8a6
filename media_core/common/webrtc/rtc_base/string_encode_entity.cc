#include <cstring>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "media_core/common/webrtc/rtc_base/string_encode_internal.h"
#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

namespace rtc {

using string_encode_internal::BestKernels;
using string_encode_internal::EncodeKernels;
using string_encode_internal::NothingToDo;

namespace {

struct Text {
  const char* data;
  size_t length;
};

Text EntityOf(char ch, Text apostrophe) {
  switch (ch) {
    case '"':
      return {"&quot;", 6};
    case '&':
      return {"&amp;", 5};
    case '<':
      return {"&lt;", 4};
    case '>':
      return {"&gt;", 4};
    default:
      return apostrophe;
  }
}

// "&#N;" of a code point of up to seven digits.
class NumericEntity {
 public:
  explicit NumericEntity(unsigned long code) {
    char* cursor = text_ + sizeof(text_);
    *--cursor = ';';
    do {
      *--cursor = static_cast<char>('0' + code % 10);
      code /= 10;
    } while (code != 0);
    *--cursor = '#';
    *--cursor = '&';
    begin_ = cursor;
  }
  Text text() const { return {begin_, static_cast<size_t>(text_ + sizeof(text_) - begin_)}; }

 private:
  char text_[10];
  const char* begin_;
};

// Appends a piece of output; false when it would not leave room for the terminating zero.
bool Append(char* buffer, size_t buflen, size_t* written, Text piece) {
  if (buflen - *written <= piece.length) return false;
  std::memcpy(buffer + *written, piece.data, piece.length);
  *written += piece.length;
  return true;
}

size_t EntityEncode(char* buffer, size_t buflen, const char* source, size_t srclen, bool html) {
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  const Text apostrophe = html ? Text{"&#39;", 5} : Text{"&apos;", 6};
  const EncodeKernels& kernels = BestKernels();
  size_t written = 0;
  size_t i = 0;
  while (true) {
    const size_t room = buflen - 1 - written;
    const size_t run = srclen - i < room ? srclen - i : room;
    const size_t copied = kernels.copy_ordinary(buffer + written, source + i, run, html);
    i += copied;
    written += copied;
    // The source or the room has ended; else the run stopped at a character to replace.
    if (copied == run) break;
    unsigned long code = static_cast<unsigned char>(source[i]);
    size_t taken = 1;
    bool appended = false;
    if (code < 0x80) {
      appended = Append(buffer, buflen, &written, EntityOf(source[i], apostrophe));
    } else {
      const size_t length = utf8_decode(source + i, srclen - i, &code);
      if (length != 0) taken = length;
      appended = Append(buffer, buflen, &written, NumericEntity(code).text());
    }
    if (!appended) break;
    i += taken;
  }
  buffer[written] = '\0';
  return written;
}

// The named references that are decoded.
struct NamedReference {
  Text name;
  char ch;
};

constexpr NamedReference kNamedReferences[] = {{{"&lt;", 4}, '<'},
                                               {{"&gt;", 4}, '>'},
                                               {{"&apos;", 6}, '\''},
                                               {{"&quot;", 6}, '"'},
                                               {{"&amp;", 5}, '&'}};

// A value that utf8_encode refuses, and that further digits keep refused.
constexpr unsigned long kTooLarge = 0x200000;

int ReferenceDigit(char ch, int base) {
  if (ch >= '0' && ch <= '9') return ch - '0';
  if (base == 16 && ch >= 'a' && ch <= 'f') return ch - 'a' + 10;
  if (base == 16 && ch >= 'A' && ch <= 'F') return ch - 'A' + 10;
  return -1;
}

// Reads "&#...;" at the start of `source`. Returns the bytes it took, or 0 when it is none.
size_t ReadNumericReference(const char* source, size_t srclen, unsigned long* code) {
  size_t i = 2;
  int base = 10;
  if (i < srclen && source[i] == 'x') {
    base = 16;
    ++i;
  }
  const size_t first = i;
  unsigned long value = 0;
  for (int digit = 0; i < srclen && (digit = ReferenceDigit(source[i], base)) >= 0; ++i) {
    value = value * static_cast<unsigned long>(base) + static_cast<unsigned long>(digit);
    if (value > kTooLarge) value = kTooLarge;
  }
  if (i == first || i == srclen || source[i] != ';') return 0;
  *code = value;
  return i + 1;
}

// Reads the reference at the start of `source`. Returns the bytes it took, or 0 when it is none.
size_t ReadReference(const char* source, size_t srclen, unsigned long* code) {
  if (srclen > 1 && source[1] == '#') return ReadNumericReference(source, srclen, code);
  for (const NamedReference& reference : kNamedReferences) {
    const Text& name = reference.name;
    if (srclen < name.length || std::memcmp(source, name.data, name.length) != 0) continue;
    *code = static_cast<unsigned char>(reference.ch);
    return name.length;
  }
  return 0;
}

}  // namespace

size_t html_encode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  return EntityEncode(buffer, buflen, source, srclen, true);
}

size_t html_decode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  return xml_decode(buffer, buflen, source, srclen);
}

size_t xml_encode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  return EntityEncode(buffer, buflen, source, srclen, false);
}

size_t xml_decode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  const size_t room = buflen - 1;
  size_t written = 0;
  size_t i = 0;
  while (i < srclen && written < room) {
    const size_t run = srclen - i < room - written ? srclen - i : room - written;
    const void* found = std::memchr(source + i, '&', run);
    const size_t plain =
        found == nullptr ? run : static_cast<size_t>(static_cast<const char*>(found) - source) - i;
    std::memcpy(buffer + written, source + i, plain);
    i += plain;
    written += plain;
    if (found == nullptr) break;
    unsigned long code = 0;
    const size_t taken = ReadReference(source + i, srclen - i, &code);
    if (taken == 0) break;
    const size_t length = utf8_encode(buffer + written, room - written, code);
    if (length == 0) break;
    i += taken;
    written += length;
  }
  buffer[written] = '\0';
  return written;
}

}  // namespace rtc
