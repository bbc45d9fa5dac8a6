#include "media_core/common/webrtc/rtc_base/decimal_text.h"

#include <cstring>

namespace rtc {
namespace {

constexpr size_t kMaxDigits = kMaxDecimalDigits;

constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324"
    "25262728293031323334353637383940414243444546474849"
    "50515253545556575859606162636465666768697071727374"
    "75767778798081828384858687888990919293949596979899";

}  // namespace

char* WriteDecimal(char* end, uint64_t value) {
  while (value >= 100) {
    end -= 2;
    memcpy(end, &kPairs[value % 100 * 2], 2);
    value /= 100;
  }
  if (value >= 10) {
    end -= 2;
    memcpy(end, &kPairs[value * 2], 2);
    return end;
  }
  *--end = static_cast<char>('0' + value);
  return end;
}

void AppendDecimal(std::string* text, uint64_t value) {
  char digits[kMaxDigits];
  char* const end = digits + kMaxDigits;
  const char* const start = WriteDecimal(end, value);
  text->append(start, static_cast<size_t>(end - start));
}

void AppendSignedDecimal(std::string* text, int64_t value) {
  char digits[kMaxDigits + 1];
  char* const end = digits + sizeof(digits);
  // Negated as unsigned, so that the smallest value has its own digits too.
  const uint64_t bits = static_cast<uint64_t>(value);
  char* start = WriteDecimal(end, value < 0 ? 0 - bits : bits);
  if (value < 0) {
    *--start = '-';
  }
  text->append(start, static_cast<size_t>(end - start));
}

void AppendPaddedDecimal(std::string* text, uint64_t value, size_t width) {
  char digits[kMaxDigits];
  char* const end = digits + kMaxDigits;
  char* start = WriteDecimal(end, value);
  while (static_cast<size_t>(end - start) < width && start > digits) {
    *--start = '0';
  }
  text->append(start, static_cast<size_t>(end - start));
}

}  // namespace rtc
