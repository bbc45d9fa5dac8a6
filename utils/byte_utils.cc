#include "utils/byte_utils.h"

namespace tessik {
namespace utils {

bool long2CharArr(int64_t value, unsigned char* buf, int32_t len) {
  if (buf == nullptr) return len != 8;
  auto bits = static_cast<uint64_t>(value);
  for (int i = 7; i >= 0; --i, bits >>= 8) buf[i] = static_cast<unsigned char>(bits);
  return true;
}

int64_t charArr2Long(const unsigned char* buf, int32_t len) {
  if (buf == nullptr) return 0;
  uint64_t bits = 0;
  for (int32_t i = 0; i < len; ++i) {
    const auto shift = static_cast<unsigned int>((len - 1 - i) % 8) * 8;
    bits |= static_cast<uint64_t>(buf[i]) << shift;
  }
  return static_cast<int64_t>(bits);
}

}  // namespace utils
}  // namespace tessik
