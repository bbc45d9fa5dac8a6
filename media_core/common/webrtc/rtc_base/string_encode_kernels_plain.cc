#include "media_core/common/webrtc/rtc_base/string_encode_internal.h"
#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

namespace rtc {
namespace string_encode_internal {

// clang-format off
const unsigned char ASCII_CLASS[128] = {
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x00
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x10
    1, 0, 3, 1, 1, 1, 3, 2, 0, 0, 0, 1, 1, 0, 0, 1,  // space " # $ % & ' + , /
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 3, 1, 3, 1,  // : ; < = > ?
    1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // @
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0,  // [ \ ] ^
    1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // `
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 0, 1,  // { | } 0x7F
};
// clang-format on

namespace {

void HexEncode(char* out, const char* in, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const auto byte = static_cast<unsigned char>(in[i]);
    out[2 * i] = HEX[byte >> 4];
    out[2 * i + 1] = HEX[byte & 15];
  }
}

size_t HexDecode(char* out, const char* in, size_t pairs) {
  size_t done = 0;
  while (done < pairs && DigitPair(in + 2 * done, out + done)) ++done;
  return done;
}

Progress UrlEncode(char* out, size_t room, const char* in, size_t n) {
  Progress done = {0, 0};
  for (; done.read < n; ++done.read) {
    const char ch = in[done.read];
    const bool unsafe = HasFlag(ch, kUrlUnsafe);
    if (room - done.written < (unsafe ? 3U : 1U)) break;
    if (!unsafe) {
      out[done.written++] = ch;
      continue;
    }
    const auto byte = static_cast<unsigned char>(ch);
    out[done.written++] = '%';
    out[done.written++] = HEX[byte >> 4];
    out[done.written++] = HEX[byte & 15];
  }
  return done;
}

Progress UrlDecode(char* out, size_t room, const char* in, size_t n) {
  Progress done = {0, 0};
  for (; done.read < n && done.written < room; ++done.written) {
    const char ch = in[done.read];
    if (ch == '%' && n - done.read > 2 && DigitPair(in + done.read + 1, out + done.written)) {
      done.read += 3;
      continue;
    }
    out[done.written] = ch == '+' ? ' ' : ch;
    ++done.read;
  }
  return done;
}

size_t CopyOrdinary(char* out, const char* in, size_t n, bool stop_at_high) {
  size_t i = 0;
  for (; i < n; ++i) {
    if (HasFlag(in[i], kEntity)) break;
    if (stop_at_high && static_cast<unsigned char>(in[i]) >= 0x80) break;
    out[i] = in[i];
  }
  return i;
}

size_t FindAll(uint16_t* out, const char* in, size_t n, char ch) {
  size_t found = 0;
  for (size_t i = 0; i < n; ++i) {
    if (in[i] == ch) out[found++] = static_cast<uint16_t>(i);
  }
  return found;
}

}  // namespace

const EncodeKernels kPlainKernels = {"plain",   HexEncode,    HexDecode, UrlEncode,
                                     UrlDecode, CopyOrdinary, FindAll};

}  // namespace string_encode_internal
}  // namespace rtc
