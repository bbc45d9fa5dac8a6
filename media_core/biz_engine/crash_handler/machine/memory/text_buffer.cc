#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

namespace CrashHandler::machine {
namespace {

constexpr size_t kFirstBytes = 64 * 1024;
constexpr size_t kFewBytes = 16 * 1024;

}  // namespace

void TextBuffer::Append(const char* bytes, size_t count) {
  if (drain_ != nullptr) return AppendDraining(bytes, count);
  if (!Reserve(count)) {
    overflowed_ = true;
    return;
  }
  char* const text = memory_.data() == nullptr ? few_ : static_cast<char*>(memory_.data());
  memcpy(text + size_, bytes, count);
  size_ += count;
}

void TextBuffer::Append(const char* text) {
  if (text != nullptr) Append(text, strlen(text));
}

void TextBuffer::AppendBlanks(size_t count) {
  constexpr std::string_view kBlanks = "                                ";
  for (size_t piece = 0; count > 0; count -= piece) {
    piece = std::min(count, kBlanks.size());
    Append(kBlanks.data(), piece);
  }
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

void TextBuffer::AppendDraining(const char* bytes, size_t count) {
  while (count > 0) {
    if (size_ == fixed_room_ && !Flush()) return;
    const size_t piece = std::min(count, fixed_room_ - size_);
    memcpy(fixed_ + size_, bytes, piece);
    size_ += piece;
    bytes += piece;
    count -= piece;
  }
}

bool TextBuffer::Flush() {
  if (drain_ != nullptr && !overflowed_ && size_ > 0) {
    overflowed_ = !drain_(context_, fixed_, size_);
    drained_ += size_;
    size_ = 0;
  }
  return !overflowed_;
}

bool TextBuffer::Reserve(size_t count) {
  if (drain_ != nullptr) return !overflowed_;
  const size_t room = memory_.data() == nullptr ? sizeof(few_) : memory_.size();
  if (overflowed_) return false;
  if (count <= room - size_) return true;
  const size_t wanted = size_ + count;
  // The last memory there is may be less than twice as much.
  return Grow(std::max({wanted, 2 * room, kFirstBytes})) || Grow(wanted + kFewBytes) ||
         Grow(wanted);
}

void TextBuffer::CutTo(size_t size) {
  size_ = std::min(size, size_);
  overflowed_ = false;
}

bool TextBuffer::Grow(size_t room) {
  if (memory_.Extend(room)) return true;
  ScratchMemory larger(room);
  if (larger.data() == nullptr) return false;
  memcpy(larger.data(), data(), size_);
  memory_.Swap(&larger);
  return true;
}

std::string StringOf(const TextBuffer& text) {
  if (text.overflowed()) throw std::bad_alloc();
  return std::string(text.data(), text.size());
}

}  // namespace CrashHandler::machine
