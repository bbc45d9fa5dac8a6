#include "media_core/biz_engine/crash_handler/report/utf8_text.h"

#include <cstdint>
#include <cstring>

#include "utils/shared_utf8.h"

namespace CrashHandler {
namespace {

// The first byte from which on there may be others than ASCII.
const char* SkipAscii(const char* byte, const char* end) {
  for (uint64_t eight = 0; end - byte >= 8; byte += 8) {
    memcpy(&eight, byte, sizeof(eight));
    if ((eight & 0x8080808080808080) != 0) break;
  }
  return byte;
}

// How many bytes from `start` on are UTF-8.
size_t ValidLength(const char* start, const char* end) {
  const char* byte = start;
  while (true) {
    byte = SkipAscii(byte, end);
    if (byte == end) break;
    const size_t length = tessik::shared::Utf8SequenceLength(byte, static_cast<size_t>(end - byte));
    if (length == 0) break;
    byte += length;
  }
  return static_cast<size_t>(byte - start);
}

}  // namespace

void AppendAsUtf8(const char* bytes, size_t count, machine::TextBuffer* text) {
  const char* const end = bytes + count;
  while (bytes != end) {
    const size_t valid = ValidLength(bytes, end);
    text->Append(bytes, valid);
    bytes += valid;
    if (bytes == end) return;
    const auto byte = static_cast<uint8_t>(*bytes++);
    text->Append(static_cast<char>(0xC0 | byte >> 6));
    text->Append(static_cast<char>(0x80 | (byte & 0x3F)));
  }
}

void AppendAsUtf8(const char* bytes, machine::TextBuffer* text) {
  if (bytes != nullptr) AppendAsUtf8(bytes, strlen(bytes), text);
}

std::string AsUtf8(const char* bytes, size_t count) {
  if (ValidLength(bytes, bytes + count) == count) return std::string(bytes, count);
  machine::TextBuffer text;
  AppendAsUtf8(bytes, count, &text);
  return StringOf(text);
}

}  // namespace CrashHandler
