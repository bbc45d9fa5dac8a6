#include "media_core/common/webrtc/rtc_base/last_lines_log_sink.h"

#include <algorithm>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/utf8_prefix.h"

namespace rtc {
namespace {

// How much of the line is kept.
size_t KeptSize(const std::string& line) {
  size_t size = line.size();
  if (size > 0 && line.back() == '\n') {
    --size;
  }
  return Utf8PrefixSize(line.data(), size, LastLinesLogSink::kMaxLineBytes);
}

}  // namespace

void LastLinesLogSink::OnLogLine(const std::string& line) {
  const uint64_t number = end_.load(std::memory_order_relaxed);
  Slot& slot = slots_[number % kMaxLines];
  const size_t size = KeptSize(line);
  slot.tag.store(0, std::memory_order_relaxed);
  // Nobody sees the new words with the old tag.
  std::atomic_thread_fence(std::memory_order_release);
  slot.size.store(size, std::memory_order_relaxed);
  for (size_t at = 0; at < size; at += sizeof(Word)) {
    Word word = 0;
    memcpy(&word, line.data() + at, std::min(sizeof(word), size - at));
    slot.words[at / sizeof(Word)].store(word, std::memory_order_relaxed);
  }
  slot.tag.store(number + 1, std::memory_order_release);
  end_.store(number + 1, std::memory_order_release);
}

uint64_t LastLinesLogSink::first_line() const {
  const uint64_t end = end_line();
  return end > kMaxLines ? end - kMaxLines : 0;
}

bool LastLinesLogSink::Read(uint64_t number, char* buffer, size_t room, size_t* size) const {
  const Slot& slot = slots_[number % kMaxLines];
  if (slot.tag.load(std::memory_order_acquire) != number + 1) {
    return false;
  }
  const size_t kept = std::min(slot.size.load(std::memory_order_relaxed), room);
  for (size_t at = 0; at < kept; at += sizeof(Word)) {
    const Word word = slot.words[at / sizeof(Word)].load(std::memory_order_relaxed);
    memcpy(buffer + at, &word, std::min(sizeof(word), kept - at));
  }
  *size = kept;
  // The words were read before the tag is looked at again.
  std::atomic_thread_fence(std::memory_order_acquire);
  return slot.tag.load(std::memory_order_relaxed) == number + 1;
}

}  // namespace rtc
