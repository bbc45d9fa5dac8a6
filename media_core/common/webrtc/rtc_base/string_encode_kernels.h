// The inner loops of string_encode. Every set of kernels gives the same results; the plain set runs
// on any processor and is what the others are tested against.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_KERNELS_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_KERNELS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rtc {
namespace string_encode_internal {

// How far a kernel came: bytes read and bytes written.
struct Progress {
  size_t read;
  size_t written;
};

struct EncodeKernels {
  const char* name;
  // Writes the 2 * n digits of n bytes.
  void (*hex_encode)(char* out, const char* in, size_t n);
  // Decodes pairs of digits up to the first that is none; returns how many were good. May write
  // anything into the rest of the `pairs` bytes.
  size_t (*hex_decode)(char* out, const char* in, size_t pairs);
  // Percent-encodes until the source ends or the next unit does not fit into `room`. May write
  // anything behind the result, inside `room`.
  Progress (*url_encode)(char* out, size_t room, const char* in, size_t n);
  // The same in the other direction.
  Progress (*url_decode)(char* out, size_t room, const char* in, size_t n);
  // Copies the bytes before the first that has an entity, and with `stop_at_high` before the first
  // of 0x80 or above; returns their number. May write anything behind them, inside `n` bytes.
  size_t (*copy_ordinary)(char* out, const char* in, size_t n, bool stop_at_high);
  // Writes the positions of `ch` in ascending order, up to `n` of them; returns their number. `n`
  // is at most 65536.
  size_t (*find_all)(uint16_t* out, const char* in, size_t n, char ch);
};

extern const EncodeKernels kPlainKernels;

// The fastest set that this processor runs.
const EncodeKernels& BestKernels();

// All sets that this processor runs, the plain one first.
std::vector<const EncodeKernels*> SupportedKernels();

}  // namespace string_encode_internal
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_KERNELS_H_
