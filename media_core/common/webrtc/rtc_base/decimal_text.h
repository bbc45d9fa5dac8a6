// Decimal digits without a locale, an allocation or a format string to read.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_DECIMAL_TEXT_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_DECIMAL_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace rtc {

// The digits of the largest value.
inline constexpr size_t kMaxDecimalDigits = 20;

// How many digits `value` has. For this library's sources only.
[[gnu::visibility("hidden")]] size_t CountDecimalDigits(uint64_t value);

// Writes the digits of `value` so that they end before `end`; returns where they begin. Safe in
// signal handlers.
char* WriteDecimal(char* end, uint64_t value);

// Appends `value` in decimal.
void AppendDecimal(std::string* text, uint64_t value);
// The same with a sign for negative values.
void AppendSignedDecimal(std::string* text, int64_t value);
// Appends `value` in decimal, with zeros in front up to `width` digits; wider values print in full.
// `width` is at most 20.
void AppendPaddedDecimal(std::string* text, uint64_t value, size_t width);

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_DECIMAL_TEXT_H_
