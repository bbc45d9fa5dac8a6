#include "media_core/common/webrtc/rtc_base/log_stderr.h"

#include <cstdio>
#include <ctime>

#include "media_core/common/webrtc/rtc_base/log_preference.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

// "[2024-01-31 23:59:59.123]" in local time.
void FormatLocalTime(char* buffer, size_t size) {
  const time_t now = time(nullptr);
  tm local = {};
  // As localtime() does, and localtime_r() need not: the zone may have changed.
  tzset();
  localtime_r(&now, &local);
  const int64_t millisecond = TimeUTCMicros() / kNumMicrosecsPerMillisec % kNumMillisecsPerSec;
  snprintf(buffer, size, "[%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d]", local.tm_year + 1900,
           local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
           static_cast<int>(millisecond));
}

}  // namespace

bool LogToStderrWanted(bool by_default) {
  switch (ReadLogPreference()) {
    case LogPreference::kNoBundle:
      return by_default;
    case LogPreference::kTrue:
      return true;
    case LogPreference::kUnset:
    case LogPreference::kFalse:
      break;
  }
  return false;
}

void WriteLogLineToStderr(const std::string& line) {
  char stamp[120];
  FormatLocalTime(stamp, sizeof(stamp));
  fprintf(stderr, "%s %s", stamp, line.c_str());
  fflush(stderr);
}

}  // namespace rtc
