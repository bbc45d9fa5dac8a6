// Texts for error numbers.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_ERROR_LABELS_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_ERROR_LABELS_H_

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace rtc {

// One row of a table of names. A table ends at the first row whose label is null.
struct ConstantLabel {
  // The number, and its name; the name stays valid as long as the table is used.
  int32_t value;
  const char* label;
};

// The label of the first row with that value, or null when there is none or the table is null. The
// text is the table's own.
const char* FindLabel(int value, const ConstantLabel* table);

// "No error" for 0, else the table's label for `err`, else "0x" and `err` as eight hexadecimal
// digits. The table may be null.
std::string ErrorName(int err, const ConstantLabel* table);

// The platform's text for a status code of the operating system (on Linux: for an errno value), or
// "" when it has none. Thread-safe.
std::string DescriptionFromOSStatus(int status);

// strerror's text. Thread-safe; leaves errno alone.
std::string ErrnoDescription(int err);

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_ERROR_LABELS_H_
