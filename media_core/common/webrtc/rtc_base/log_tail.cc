#include "media_core/common/webrtc/rtc_base/log_tail.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/append_file.h"

namespace rtc {
namespace {

// Address space at a time; to map each claim by itself costs more than to write its lines.
constexpr uint64_t kWindow = 4 * 1024 * 1024;

// In this order, to the last byte: a copy of the library's might begin at the end.
void StoreInOrder(char* to, const char* from, size_t size) {
  for (; size >= sizeof(uint64_t); size -= sizeof(uint64_t)) {
    uint64_t word = 0;
    memcpy(&word, from, sizeof(word));
    memcpy(to, &word, sizeof(word));
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    to += sizeof(word);
    from += sizeof(word);
  }
  for (; size > 0; --size) {
    *to++ = *from++;
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
  }
}

}  // namespace

void LogTail::Put(const char* data, size_t size) {
  StoreInOrder(at_, data, size);
  at_ += size;
}

bool LogTail::Claim(AppendFile* file, size_t size) {
  uint64_t begin = 0;
  if (!file->AppendZeros(size, &begin)) {
    return false;
  }
  const uint64_t end = begin + size;
  const bool goes_on = map_ != nullptr && begin == OffsetOf(end_);
  // Where the file has become shorter, there is nothing to fill.
  if (map_ != nullptr && begin > OffsetOf(end_)) {
    FillRoom();
  }
  const uint64_t text = goes_on ? text_end() : begin;
  const size_t unsettled = goes_on ? static_cast<size_t>(at_ - settled_) : 0;
  if (!goes_on || end > map_offset_ + map_size_) {
    Unmap();
    if (!Map(file->descriptor(), text - unsettled, end)) {
      file->TakeBack(size);
      return false;
    }
  }
  at_ = map_ + (text - map_offset_);
  settled_ = at_ - unsettled;
  end_ = map_ + (end - map_offset_);
  return true;
}

bool LogTail::Map(int fd, uint64_t begin, uint64_t end) {
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t offset = begin / page * page;
  const auto size = static_cast<size_t>(std::max(kWindow, end - offset));
  void* const map =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, static_cast<off_t>(offset));
  if (map == MAP_FAILED) {
    return false;
  }
  map_ = static_cast<char*>(map);
  map_size_ = size;
  map_offset_ = offset;
  return true;
}

void LogTail::FillRoom() {
  if (room() > 0) {
    memset(at_, ' ', room() - 1);
    end_[-1] = '\n';
    at_ = end_;
  }
}

void LogTail::Finish(AppendFile* file) {
  if (map_ == nullptr) {
    return;
  }
  const uint64_t text = text_end();
  const uint64_t end = OffsetOf(end_);
  // First: nobody may cut a file that is mapped, this object included.
  Unmap();
  file->CutIfAlone(end, text);
}

void LogTail::Unmap() {
  if (map_ != nullptr) {
    munmap(map_, map_size_);
  }
  Forget();
}

void LogTail::Forget() {
  map_ = at_ = end_ = settled_ = nullptr;
  map_size_ = 0;
  map_offset_ = 0;
}

}  // namespace rtc
