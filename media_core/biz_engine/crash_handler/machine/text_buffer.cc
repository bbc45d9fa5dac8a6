#include "media_core/biz_engine/crash_handler/machine/text_buffer.h"

#include <algorithm>
#include <cstring>

namespace CrashHandler::machine {
namespace {

constexpr size_t kFirstBytes = 64 * 1024;

}  // namespace

void TextBuffer::Append(const char* bytes, size_t count) {
  if (!Reserve(size_ + count)) return;
  char* const text = memory_.data() == nullptr ? few_ : static_cast<char*>(memory_.data());
  memcpy(text + size_, bytes, count);
  size_ += count;
}

void TextBuffer::Append(const char* text) {
  if (text != nullptr) Append(text, strlen(text));
}

void TextBuffer::AppendBlanks(size_t count) {
  for (; count > 0; --count) Append(' ');
}

// By hand: a report has several numbers a line, and printf would take a good part of the whole
// report's time.
void TextBuffer::AppendNumber(uint64_t value, unsigned base, size_t digits) {
  char number[64];
  char* const end = number + sizeof(number);
  const char* const least = end - std::min(digits, sizeof(number));
  char* start = end;
  for (; value != 0 || start > least; value /= base) *--start = "0123456789abcdef"[value % base];
  Append(start, static_cast<size_t>(end - start));
}

void TextBuffer::AppendHex(uint64_t value, size_t digits) {
  Append("0x");
  AppendNumber(value, 16, digits);
}

bool TextBuffer::Reserve(size_t size) {
  const size_t room = memory_.data() == nullptr ? sizeof(few_) : memory_.size();
  if (size <= room) return true;
  ScratchMemory larger(std::max({size, 2 * room, kFirstBytes}));
  if (larger.data() == nullptr) return false;
  memcpy(larger.data(), data(), size_);
  memory_.Swap(&larger);
  return true;
}

}  // namespace CrashHandler::machine
