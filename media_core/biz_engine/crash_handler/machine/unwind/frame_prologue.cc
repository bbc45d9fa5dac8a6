#include "media_core/biz_engine/crash_handler/machine/unwind/frame_prologue.h"

#include <cstring>

namespace CrashHandler::machine {
namespace {

constexpr uint8_t kBranchMark[] = {0xf3, 0x0f, 0x1e, 0xfa};
constexpr uint8_t kPushFrame[] = {0x55};
constexpr uint8_t kMoveFrame[] = {0x48, 0x89, 0xe5};
constexpr uint8_t kMoveFrameOtherForm[] = {0x48, 0x8b, 0xec};
constexpr uint8_t kAlign[] = {0x48, 0x83, 0xe4};
constexpr uint8_t kSubtractByte[] = {0x48, 0x83, 0xec};
constexpr uint8_t kSubtractWord[] = {0x48, 0x81, 0xec};

class Instructions {
 public:
  explicit Instructions(const uint8_t (&code)[kPrologueSize]) : code_(code) {}

  template <size_t kSize>
  bool Take(const uint8_t (&wanted)[kSize]) {
    if (at_ + kSize > kPrologueSize || memcmp(code_ + at_, wanted, kSize) != 0) return false;
    at_ += kSize;
    return true;
  }

  // "push" of any general register.
  bool TakePush() {
    const bool extended = code_[at_] == 0x41;
    const size_t size = extended ? 2 : 1;
    if (at_ + size > kPrologueSize || (code_[at_ + size - 1] & 0xf8) != 0x50) return false;
    at_ += size;
    return true;
  }

  template <typename Number>
  uint64_t TakeNumber() {
    Number number = 0;
    if (at_ + sizeof(number) <= kPrologueSize) memcpy(&number, code_ + at_, sizeof(number));
    at_ += sizeof(number);
    return static_cast<uint64_t>(int64_t{number});
  }

 private:
  const uint8_t* code_;
  size_t at_ = 0;
};

}  // namespace

bool FrameSizeOfPrologue(const uint8_t (&code)[kPrologueSize], FrameSize* size) {
  constexpr int kMaxPushes = 6;
  Instructions next(code);
  next.Take(kBranchMark);
  if (!next.Take(kPushFrame)) return false;
  if (!next.Take(kMoveFrame) && !next.Take(kMoveFrameOtherForm)) return false;
  *size = {};
  for (int i = 0; i < kMaxPushes && next.TakePush(); ++i) size->least += sizeof(uint64_t);
  if (next.Take(kAlign)) size->slack = 0 - next.TakeNumber<int8_t>() - sizeof(uint64_t);
  if (next.Take(kSubtractByte)) {
    size->least += next.TakeNumber<int8_t>();
  } else if (next.Take(kSubtractWord)) {
    size->least += next.TakeNumber<int32_t>();
  }
  return true;
}

// A call of a fixed distance, or through a register or memory: its second byte's middle bits are 2.
bool EndsInCall(const uint8_t (&code)[kCallSize]) {
  constexpr uint8_t kNear = 0xe8;
  constexpr uint8_t kThrough = 0xff;
  if (code[kCallSize - 5] == kNear) return true;
  constexpr size_t kSizes[] = {2, 3, 4, 6, 7};
  for (const size_t size : kSizes) {
    const uint8_t* call = code + kCallSize - size;
    if (call[0] == kThrough && (call[1] >> 3 & 7) == 2) return true;
  }
  return false;
}

}  // namespace CrashHandler::machine
