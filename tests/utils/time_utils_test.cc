#include "utils/time_utils.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

namespace utils = tessik::utils;

void UseZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

// Seconds since 1970 of a calendar day, counted year by year.
int64_t DaysToSeconds(int year, int month, int day) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const auto leap = [](int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; };
  int64_t days = day - 1;
  for (int y = 1970; y < year; ++y) days += leap(y) ? 366 : 365;
  for (int m = 1; m < month; ++m) days += kDays[m - 1] + (m == 2 && leap(year) ? 1 : 0);
  return days * 86400;
}

TEST(UtcTimeString, HasTheFixedForm) {
  UseZone("America/New_York");
  const std::string text = utils::GetUTCTimeString(0);
  ASSERT_EQ(20U, text.size());
  EXPECT_EQ("--T::Z", std::string({text[4], text[7], text[10], text[13], text[16], text[19]}));
}
TEST(UtcTimeString, IsNowPlusTheOffsetInUtc) {
  UseZone("UTC");
  for (const int32_t offset : {0, 3600, -86400, 1000000000}) {
    const time_t before = std::time(nullptr) + offset;
    const int64_t read = utils::ConvertUTCTimeStringToTime(utils::GetUTCTimeString(offset));
    const time_t after = std::time(nullptr) + offset;
    EXPECT_LE(before, read);
    EXPECT_GE(after, read);
  }
}

TEST(ConvertUtcTimeString, EighteenCharactersGiveZero) {
  EXPECT_EQ(0, utils::ConvertUTCTimeStringToTime("2024-01-31T08:05:0"));
  EXPECT_EQ(0, utils::ConvertUTCTimeStringToTime(""));
}
TEST(ConvertUtcTimeString, ReadsTheFields) {
  UseZone("UTC");
  const int64_t expected = DaysToSeconds(2024, 1, 31) + 8 * 3600 + 5 * 60 + 9;
  EXPECT_EQ(expected, utils::ConvertUTCTimeStringToTime("2024-01-31T08:05:09Z"));
  EXPECT_EQ(expected, utils::ConvertUTCTimeStringToTime("2024-01-31T08:05:09"));
}
TEST(ConvertUtcTimeString, SeparatorsAreIgnored) {
  UseZone("UTC");
  EXPECT_EQ(DaysToSeconds(2024, 2, 29),
            utils::ConvertUTCTimeStringToTime("2024x02y29z00?00!00 tail"));
}
TEST(ConvertUtcTimeString, ReadsTheFieldsAsLocalTime) {
  UseZone("<+05>-5");
  EXPECT_EQ(DaysToSeconds(2024, 7, 1) - 5 * 3600,
            utils::ConvertUTCTimeStringToTime("2024-07-01T00:00:00Z"));
}
TEST(ConvertUtcTimeString, WithoutDaylightSavingInSummer) {
  UseZone("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(DaysToSeconds(2024, 7, 1) + 5 * 3600,
            utils::ConvertUTCTimeStringToTime("2024-07-01T00:00:00Z"));
}
TEST(ConvertUtcTimeString, FieldsOutOfRangeCarryOver) {
  UseZone("UTC");
  EXPECT_EQ(DaysToSeconds(2024, 2, 1), utils::ConvertUTCTimeStringToTime("2024-01-32T00:00:00Z"));
}

TEST(UtcTimeWithoutTimeZone, IsUtcReadAsLocalTime) {
  UseZone("<+05>-5");
  const time_t before = std::time(nullptr) - 5 * 3600;
  const int64_t actual = utils::GetUTCTimeWithoutTimeZone();
  EXPECT_LE(before, actual);
  EXPECT_GE(std::time(nullptr) - 5 * 3600, actual);
}

std::string ByTheCLibrary(time_t moment) {
  std::tm utc = {};
  gmtime_r(&moment, &utc);
  char text[64];
  snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02dZ", utc.tm_year + 1900, utc.tm_mon + 1,
           utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
  return text;
}

// From 1958 to 2094, leap years and the ends of months among them.
TEST(UtcTimeString, IsThatOfTheCLibraryForEveryOffset) {
  int compared = 0;
  for (int64_t offset = INT32_MIN; offset <= INT32_MAX; offset += 86400 / 3 + 1) {
    const time_t before = time(nullptr);
    const std::string text = utils::GetUTCTimeString(static_cast<int32_t>(offset));
    if (time(nullptr) != before) continue;
    ASSERT_EQ(text, ByTheCLibrary(before + offset)) << offset;
    ++compared;
  }
  EXPECT_GT(compared, 100000);
}

}  // namespace
