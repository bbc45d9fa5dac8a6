#include "media_core/common/webrtc/rtc_base/log_calendar_time.h"

#include <algorithm>
#include <cstddef>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

constexpr int64_t kSecondsPerDay = 24 * 60 * 60;
// The end of the year 9999.
constexpr int64_t kLastMicros = 253402300799999999;

struct Date {
  int64_t year;
  int64_t month;
  int64_t day;
};

// Years begin in March here: the leap day is a year's last, and months of 153 days in five repeat.
Date DateOfDay(int64_t days_since_1970) {
  constexpr int64_t kDaysFromYear0 = 719468;
  constexpr int64_t kDaysPerEra = 146097;
  const int64_t days = days_since_1970 + kDaysFromYear0;
  const int64_t era = days / kDaysPerEra;
  const int64_t of_era = days % kDaysPerEra;
  const int64_t year = (of_era - of_era / 1460 + of_era / 36524 - of_era / 146096) / 365;
  const int64_t of_year = of_era - (365 * year + year / 4 - year / 100);
  const int64_t month = (5 * of_year + 2) / 153;
  const int64_t day = of_year - (153 * month + 2) / 5 + 1;
  const bool next_year = month >= 10;
  return {era * 400 + year + (next_year ? 1 : 0), next_year ? month - 9 : month + 3, day};
}

void PutNumber(int64_t number, size_t at, size_t digits, std::string* text) {
  for (size_t i = at + digits; i > at; --i) {
    (*text)[i - 1] = static_cast<char>('0' + number % 10);
    number /= 10;
  }
}

}  // namespace

std::string CalendarTimePrefix(int64_t utc_micros) {
  const int64_t micros = std::clamp<int64_t>(utc_micros, 0, kLastMicros);
  const int64_t seconds = micros / kNumMicrosecsPerSec;
  const Date date = DateOfDay(seconds / kSecondsPerDay);
  std::string text = "YYYY-MM-DDThh:mm:ss.mmmZ ";
  PutNumber(date.year, 0, 4, &text);
  PutNumber(date.month, 5, 2, &text);
  PutNumber(date.day, 8, 2, &text);
  PutNumber(seconds % kSecondsPerDay / 3600, 11, 2, &text);
  PutNumber(seconds % 3600 / 60, 14, 2, &text);
  PutNumber(seconds % 60, 17, 2, &text);
  PutNumber(micros % kNumMicrosecsPerSec / kNumMicrosecsPerMillisec, 20, 3, &text);
  return text;
}

}  // namespace rtc
