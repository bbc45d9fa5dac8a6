#include "utils/time_utils.h"

#include <cstdio>
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

int Field(const std::string& text, size_t position, size_t length) {
  return std::atoi(text.substr(position, length).c_str());
}

}  // namespace

std::string GetUTCTimeString(int32_t offset) {
  const std::tm utc = UtcBreakdown(std::time(nullptr) + offset);
  char text[64];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
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
