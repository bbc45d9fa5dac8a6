#include "media_core/biz_engine/crash_handler/report/civil_time.h"

namespace CrashHandler::machine {
namespace {

constexpr uint64_t kDaySeconds = 86400;

bool IsLeap(uint64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

unsigned DaysIn(unsigned month, uint64_t year) {
  constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

}  // namespace

CivilTime ToCivilTime(uint64_t seconds) {
  const auto in_day = static_cast<unsigned>(seconds % kDaySeconds);
  CivilTime time = {1970, 1, 1, in_day / 3600, in_day / 60 % 60, in_day % 60};
  uint64_t days = seconds / kDaySeconds;
  for (; days >= (IsLeap(time.year) ? 366 : 365); ++time.year)
    days -= IsLeap(time.year) ? 366 : 365;
  for (; days >= DaysIn(time.month, time.year); ++time.month) days -= DaysIn(time.month, time.year);
  time.day += static_cast<unsigned>(days);
  return time;
}

}  // namespace CrashHandler::machine
