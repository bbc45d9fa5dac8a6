// Reads the numbers of the unwind tables. For the readers of the tables only.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_UNWIND_CURSOR_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_UNWIND_CURSOR_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"

namespace CrashHandler::machine {

// Bounds on damaged input; real entries and expressions stay far below the first, and ten bytes
// hold every number of 64 bits, which tools may pad a little.
constexpr uint64_t kMaxUnwindEntrySize = 1 << 20;
constexpr unsigned kMaxUnwindNumberSize = 16;

// In a pointer's encoding: what is read is where the pointer lies.
constexpr uint8_t kUnwindPointerIndirect = 0x80;

// A position in the source that reads forward and remembers the first failure.
class UnwindCursor {
 public:
  UnwindCursor(const ByteSource& source, uint64_t at, uint64_t end)
      : source_(source), at_(at), end_(end), ok_(at <= end) {}

  bool ok() const { return ok_; }
  bool AtEnd() const { return !ok_ || at_ >= end_; }
  uint64_t at() const { return at_; }

  template <typename T>
  T Read() {
    T value = 0;
    if (!ok_ || end_ - at_ < sizeof(T) || !source_.Read(at_, &value, sizeof(T))) {
      ok_ = false;
      return 0;
    }
    at_ += sizeof(T);
    return value;
  }

  void Skip(uint64_t count) {
    if (!ok_ || end_ - at_ < count) {
      ok_ = false;
      return;
    }
    at_ += count;
  }

  uint64_t Uleb() {
    unsigned bits;
    bool negative;
    return Number(&bits, &negative);
  }

  int64_t Sleb() {
    unsigned bits;
    bool negative;
    uint64_t value = Number(&bits, &negative);
    if (negative && bits < 64) value |= ~uint64_t{0} << bits;
    return static_cast<int64_t>(value);
  }

  // A pointer in one of the encodings; `data_base` serves those relative to the index.
  uint64_t Pointer(uint8_t encoding, uint64_t data_base) {
    const uint64_t here = at_;
    uint64_t value = PlainPointer(encoding & 0x0f);
    switch (encoding & 0x70) {
      case 0x00:
        break;
      case 0x10:
        value += here;
        break;
      case 0x30:
        value += data_base;
        break;
      default:
        ok_ = false;
    }
    if ((encoding & kUnwindPointerIndirect) != 0 && ok_) {
      ok_ = source_.Read(value, &value, sizeof(value));
    }
    return value;
  }

 private:
  // Seven bits a byte, low ones first; the highest bit of a byte says that another one follows.
  // `bits` is how many there were, `negative` whether the highest of them is set.
  uint64_t Number(unsigned* bits, bool* negative) {
    uint64_t value = 0;
    for (*bits = 0; *bits < 7 * kMaxUnwindNumberSize;) {
      const auto byte = Read<uint8_t>();
      if (*bits < 64) value |= uint64_t{byte & 0x7fU} << *bits;
      *bits += 7;
      *negative = (byte & 0x40) != 0;
      if ((byte & 0x80) == 0) return value;
    }
    ok_ = false;
    return 0;
  }

  uint64_t PlainPointer(uint8_t format) {
    switch (format) {
      case 0x00:
      case 0x04:
      case 0x0c:
        return Read<uint64_t>();
      case 0x01:
        return Uleb();
      case 0x02:
        return Read<uint16_t>();
      case 0x03:
        return Read<uint32_t>();
      case 0x09:
        return static_cast<uint64_t>(Sleb());
      case 0x0a:
        return static_cast<uint64_t>(int64_t{Read<int16_t>()});
      case 0x0b:
        return static_cast<uint64_t>(int64_t{Read<int32_t>()});
      default:
        ok_ = false;
        return 0;
    }
  }

  const ByteSource& source_;
  uint64_t at_;
  uint64_t end_;
  bool ok_;
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_UNWIND_CURSOR_H_
