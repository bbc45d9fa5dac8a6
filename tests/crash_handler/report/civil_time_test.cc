#include "media_core/biz_engine/crash_handler/report/civil_time.h"

#include <gtest/gtest.h>
#include <time.h>

namespace CrashHandler::machine {
namespace {

void ExpectLikeTheSystem(uint64_t seconds) {
  const auto moment = static_cast<time_t>(seconds);
  tm wanted = {};
  gmtime_r(&moment, &wanted);
  const CivilTime time = ToCivilTime(seconds);
  ASSERT_EQ(time.year, static_cast<uint64_t>(wanted.tm_year + 1900)) << seconds;
  ASSERT_EQ(time.month, static_cast<unsigned>(wanted.tm_mon + 1)) << seconds;
  ASSERT_EQ(time.day, static_cast<unsigned>(wanted.tm_mday)) << seconds;
  ASSERT_EQ(time.hour, static_cast<unsigned>(wanted.tm_hour)) << seconds;
  ASSERT_EQ(time.minute, static_cast<unsigned>(wanted.tm_min)) << seconds;
  ASSERT_EQ(time.second, static_cast<unsigned>(wanted.tm_sec)) << seconds;
}

TEST(CivilTimeTest, FirstAndLastSecondOfEveryDayOfTwoCenturiesAreTheSystems) {
  for (uint64_t day = 0; day < 200 * 366; ++day) {
    ExpectLikeTheSystem(day * 86400);
    ExpectLikeTheSystem(day * 86400 + 86399);
  }
}

TEST(CivilTimeTest, TimesOfDayAreTheSystems) {
  for (uint64_t second = 0; second < 86400; second += 37) ExpectLikeTheSystem(1709600000 + second);
}

}  // namespace
}  // namespace CrashHandler::machine
