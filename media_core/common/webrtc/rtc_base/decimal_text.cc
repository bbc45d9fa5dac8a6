#include "media_core/common/webrtc/rtc_base/decimal_text.h"

#include <algorithm>
#include <cstring>

namespace rtc {
namespace {

constexpr size_t kMaxDigits = kMaxDecimalDigits;

constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324"
    "25262728293031323334353637383940414243444546474849"
    "50515253545556575859606162636465666768697071727374"
    "75767778798081828384858687888990919293949596979899";

constexpr uint64_t kPowersOfTen[kMaxDigits] = {
    1,
    10,
    100,
    1000,
    10000,
    100000,
    1000000,
    10000000,
    100000000,
    1000000000,
    10000000000,
    100000000000,
    1000000000000,
    10000000000000,
    100000000000000,
    1000000000000000,
    10000000000000000,
    100000000000000000,
    1000000000000000000,
    10000000000000000000u,
};

// Makes room for that many characters and returns where they end.
char* Extend(std::string* text, size_t size) {
  text->append(size, '0');
  return &(*text)[0] + text->size();
}

}  // namespace

size_t CountDecimalDigits(uint64_t value) {
  // The binary digits times log10(2) are the decimal ones, or one more.
  const uint64_t at_least_one = value | 1;
  const int bits = 64 - __builtin_clzll(at_least_one);
  const size_t about = static_cast<size_t>(bits) * 1233 >> 12;
  return about + (at_least_one >= kPowersOfTen[about] ? 1 : 0);
}

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

// The digits are written in their place: a copy of what was just stored piece by piece waits for
// the stores.
void AppendDecimal(std::string* text, uint64_t value) {
  WriteDecimal(Extend(text, CountDecimalDigits(value)), value);
}

void AppendSignedDecimal(std::string* text, int64_t value) {
  // Negated as unsigned, so that the smallest value has its own digits too.
  const uint64_t bits = static_cast<uint64_t>(value);
  if (value < 0) {
    text->push_back('-');
  }
  AppendDecimal(text, value < 0 ? 0 - bits : bits);
}

void AppendPaddedDecimal(std::string* text, uint64_t value, size_t width) {
  WriteDecimal(Extend(text, std::max(width, CountDecimalDigits(value))), value);
}

}  // namespace rtc
