// Logs how long a scope took.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CALL_COST_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CALL_COST_H_

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace rtc {

// At the end of its scope logs NAME, " call cost[us] " and the microseconds since its beginning, at
// LS_INFO, if that is loggable then.
class LogCallCostTime {
 public:
  // The name is copied; null counts as "".
  explicit LogCallCostTime(const char* name);
  ~LogCallCostTime();
  LogCallCostTime(const LogCallCostTime&) = delete;
  LogCallCostTime& operator=(const LogCallCostTime&) = delete;

 private:
  const std::string name_;
  const int64_t start_us_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CALL_COST_H_
