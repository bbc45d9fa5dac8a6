// A moment as date and time of day, without the locks of the C library's time zones.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CIVIL_TIME_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CIVIL_TIME_H_

#include <cstdint>

namespace CrashHandler::machine {

struct CivilTime {
  uint64_t year;
  unsigned month;  // from 1
  unsigned day;    // from 1
  unsigned hour;
  unsigned minute;
  unsigned second;
};

// Of seconds since 1970, not negative, in the calendar of today. May run in a signal handler.
CivilTime ToCivilTime(uint64_t seconds);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CIVIL_TIME_H_
