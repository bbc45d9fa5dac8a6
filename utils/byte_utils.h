// 64-bit integers as big-endian bytes.
#ifndef UTILS_BYTE_UTILS_H_
#define UTILS_BYTE_UTILS_H_

#include <cstdint>

#pragma GCC visibility push(default)

namespace tessik {
namespace utils {

// Writes the eight bytes of `value` to `buf`, the highest first, whatever `len` says: `buf` must
// hold eight bytes. A null `buf` is never written to; the result is false for it only when `len` is
// 8, and true in every other case.
bool long2CharArr(int64_t value, unsigned char* buf, int32_t len);

// The bytes read as one number, the highest first. Above eight bytes the shift of each byte is
// taken modulo 64, so that the leading bytes fall onto the low ones and are combined by OR. A null
// `buf` or a `len` below 1 gives 0.
int64_t charArr2Long(const unsigned char* buf, int32_t len);

}  // namespace utils
}  // namespace tessik

#pragma GCC visibility pop

#endif  // UTILS_BYTE_UTILS_H_
