#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"

#include <algorithm>

#include "media_core/biz_engine/crash_handler/report/utf8_text.h"

namespace CrashHandler {
namespace {

constexpr NSUInteger kPiece = 1024;
constexpr uint32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendCharacter(uint32_t character, std::string* bytes) {
  const auto append = [bytes](uint32_t byte) { bytes->push_back(static_cast<char>(byte)); };
  if (character < 0x80) return append(character);
  if (character < 0x800) {
    append(0xC0 | character >> 6);
  } else if (character < 0x10000) {
    append(0xE0 | character >> 12);
    append(0x80 | (character >> 6 & 0x3F));
  } else {
    append(0xF0 | character >> 18);
    append(0x80 | (character >> 12 & 0x3F));
    append(0x80 | (character >> 6 & 0x3F));
  }
  append(0x80 | (character & 0x3F));
}

// Puts UTF-16 units together, in the order in which they come.
class Utf16Reader {
 public:
  explicit Utf16Reader(std::string* bytes) : bytes_(bytes) {}

  // Reports are ASCII but for a name or two, and long: those pieces go through at once.
  void Take(const unichar* units, size_t count) {
    unichar all = 0;
    for (size_t i = 0; i < count; ++i) all |= units[i];
    if (all >= 0x80) {
      for (size_t i = 0; i < count; ++i) TakeOne(units[i]);
      return;
    }
    Finish();
    const size_t before = bytes_->size();
    bytes_->resize(before + count);
    char* const to = &(*bytes_)[before];
    for (size_t i = 0; i < count; ++i) to[i] = static_cast<char>(units[i]);
  }

  void Finish() {
    if (high_ != 0) AppendCharacter(kReplacement, bytes_);
    high_ = 0;
  }

 private:
  void TakeOne(uint32_t unit) {
    if (high_ != 0 && IsLowSurrogate(unit)) {
      AppendCharacter(0x10000 + ((high_ - 0xD800) << 10) + (unit - 0xDC00), bytes_);
      high_ = 0;
      return;
    }
    Finish();
    if (IsHighSurrogate(unit)) {
      high_ = unit;
    } else {
      AppendCharacter(IsLowSurrogate(unit) ? kReplacement : unit, bytes_);
    }
  }

  std::string* const bytes_;
  uint32_t high_ = 0;
};

}  // namespace

NSString* TextFromBytes(const char* bytes, size_t length) {
  const std::string utf8 = AsUtf8(bytes, length);
  return [[[NSString alloc] initWithBytes:utf8.data()
                                   length:utf8.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

NSString* TextFromBytes(const std::string& bytes) {
  return TextFromBytes(bytes.data(), bytes.size());
}

std::string BytesOfText(NSString* text) {
  std::string bytes;
  Utf16Reader reader(&bytes);
  const NSUInteger length = [text length];
  bytes.reserve(length);
  unichar units[kPiece];
  for (NSUInteger done = 0; done < length;) {
    const NSUInteger count = std::min(kPiece, length - done);
    [text getCharacters:units range:NSMakeRange(done, count)];
    reader.Take(units, count);
    done += count;
  }
  reader.Finish();
  return bytes;
}

}  // namespace CrashHandler
