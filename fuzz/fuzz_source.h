// Bytes of an input that stand for a file or for memory.
#ifndef FUZZ_FUZZ_SOURCE_H_
#define FUZZ_FUZZ_SOURCE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"
#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"
#include "media_core/biz_engine/crash_handler/machine/memory/block_cache.h"

namespace oru_fuzz {

// What follows the bytes of a source, up to its extent. Only with more of them can a reader that
// follows a damaged count go on for long.
enum class Behind { kNothing, kRepetition, kLastByte };

// The bytes lie at `start`. Counts the reads. A read that fails leaves `junk` behind, which no
// result may depend on.
class CountedSource {
 public:
  CountedSource(const std::string& bytes, uint64_t start, Behind behind = Behind::kNothing,
                uint64_t extent = 0, uint8_t junk = 0xa5)
      : bytes_(bytes),
        start_(start),
        behind_(behind),
        extent_(behind == Behind::kNothing || extent < bytes.size() || bytes.empty() ? bytes.size()
                                                                                     : extent),
        junk_(junk) {}

  CrashHandler::machine::ByteSource source() const { return {&ReadCounted, this}; }
  CrashHandler::machine::ByteSource uncounted() const { return {&ReadFrom, this}; }
  uint64_t start() const { return start_; }
  uint64_t extent() const { return extent_; }

  bool Read(uint64_t position, void* destination, size_t count) const {
    if (count == 0) return true;
    const uint64_t at = position - start_;
    const bool wraps = position + count < position;
    if (wraps || at > extent_ || count > extent_ - at) {
      memset(destination, junk_, count);
      return false;
    }
    auto* to = static_cast<char*>(destination);
    for (size_t done = 0; done < count;) {
      done += Piece(at + done, to + done, count - done);
    }
    return true;
  }

  template <typename T>
  bool ReadValue(uint64_t position, T* value) const {
    return Read(position, value, sizeof(*value));
  }

  // The work since the last question must have had a bound.
  void RequireReads(size_t most, const char* what) {
    Require(reads_ <= most, what);
    reads_ = 0;
  }

 private:
  size_t Piece(uint64_t at, char* to, size_t room) const {
    if (at >= bytes_.size() && behind_ == Behind::kLastByte) {
      memset(to, bytes_.back(), room);
      return room;
    }
    const size_t from = at % bytes_.size();
    const size_t piece = std::min(room, bytes_.size() - from);
    memcpy(to, bytes_.data() + from, piece);
    return piece;
  }

  static bool ReadFrom(const void* context, uint64_t position, void* destination, size_t count) {
    return static_cast<const CountedSource*>(context)->Read(position, destination, count);
  }
  static bool ReadCounted(const void* context, uint64_t position, void* destination, size_t count) {
    ++static_cast<const CountedSource*>(context)->reads_;
    return ReadFrom(context, position, destination, count);
  }

  const std::string& bytes_;
  uint64_t start_;
  Behind behind_;
  uint64_t extent_;
  uint8_t junk_;
  mutable size_t reads_ = 0;
};

inline Behind BehindOf(uint8_t bits) {
  constexpr Behind kAll[] = {Behind::kNothing, Behind::kRepetition, Behind::kLastByte,
                             Behind::kNothing};
  return kAll[bits & 3];
}

// The same bytes as the crash handler reads them: through blocks.
class BlockSource {
 public:
  explicit BlockSource(const CountedSource& bytes, uint64_t end = UINT64_MAX)
      : bytes_(bytes), end_(end) {}

  CrashHandler::machine::ByteSource source() const { return {&ReadFrom, this}; }

 private:
  static bool ReadFrom(const void* context, uint64_t position, void* destination, size_t count) {
    const auto* self = static_cast<const BlockSource*>(context);
    return self->blocks_.Read(self->bytes_.uncounted(), position, destination, count, self->end_);
  }

  const CountedSource& bytes_;
  uint64_t end_;
  mutable CrashHandler::machine::BlockCache<4> blocks_;
};

}  // namespace oru_fuzz

#endif  // FUZZ_FUZZ_SOURCE_H_
