#include "utils/time_utils.h"

#include <cstdlib>
#include <ctime>

namespace tessik {
namespace utils {

namespace {

// "2024-01-31T08:05:09"
constexpr size_t kTimeLength = 19;

std::tm UtcBreakdown(std::time_t moment) {
  std::tm utc = {};
  gmtime_r(&moment, &utc);
  return utc;
}

constexpr int64_t kSecondsPerDay = 24 * 60 * 60;

struct Date {
  uint32_t year;
  uint32_t month;
  uint32_t day;
};

int64_t FloorDiv(int64_t value, int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// Of the Gregorian calendar, from the days since 1970. Years are counted from March here, so that
// the leap day is the last of its year; the C library takes a lock and a look at the time zone.
Date DateOf(int64_t days) {
  constexpr int64_t kDaysOf400Years = 146097;
  // From the first of March of the year 0.
  const int64_t since_march_0 = days + 719468;
  const int64_t era = FloorDiv(since_march_0, kDaysOf400Years);
  const auto day_of_era = static_cast<uint32_t>(since_march_0 - era * kDaysOf400Years);
  const uint32_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const uint32_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  // Months of 31 and 30 days alternate in runs of five, 153 days long.
  const uint32_t month_from_march = (5 * day_of_year + 2) / 153;
  const uint32_t day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  const uint32_t month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  const int64_t year = era * 400 + year_of_era + (month <= 2 ? 1 : 0);
  return {static_cast<uint32_t>(year), month, day};
}

// Two digits; `value` is below 100.
void PutDigits(std::string* text, size_t position, uint32_t value) {
  (*text)[position] = static_cast<char>('0' + value / 10);
  (*text)[position + 1] = static_cast<char>('0' + value % 10);
}

int Field(const std::string& text, size_t position, size_t length) {
  return std::atoi(text.substr(position, length).c_str());
}

}  // namespace

std::string GetUTCTimeString(int32_t offset) {
  const int64_t moment = std::time(nullptr) + int64_t{offset};
  const int64_t days = FloorDiv(moment, kSecondsPerDay);
  const auto second = static_cast<uint32_t>(moment - days * kSecondsPerDay);
  const Date date = DateOf(days);
  std::string text = "0000-00-00T00:00:00Z";
  PutDigits(&text, 0, date.year / 100);
  PutDigits(&text, 2, date.year % 100);
  PutDigits(&text, 5, date.month);
  PutDigits(&text, 8, date.day);
  PutDigits(&text, 11, second / 3600);
  PutDigits(&text, 14, second / 60 % 60);
  PutDigits(&text, 17, second % 60);
  return text;
}

int64_t ConvertUTCTimeStringToTime(const std::string& text) {
  if (text.size() < kTimeLength) return 0;
  std::tm fields = {};
  fields.tm_year = Field(text, 0, 4) - 1900;
  fields.tm_mon = Field(text, 5, 2) - 1;
  fields.tm_mday = Field(text, 8, 2);
  fields.tm_hour = Field(text, 11, 2);
  fields.tm_min = Field(text, 14, 2);
  fields.tm_sec = Field(text, 17, 2);
  return std::mktime(&fields);
}

int64_t GetUTCTimeWithoutTimeZone() {
  std::tm utc = UtcBreakdown(std::time(nullptr));
  return std::mktime(&utc);
}

}  // namespace utils
}  // namespace tessik
