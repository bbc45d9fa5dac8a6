#include "media_core/common/webrtc/rtc_base/log_call_cost.h"

#include "media_core/common/webrtc/rtc_base/clock.h"
#include "media_core/common/webrtc/rtc_base/log_message.h"

namespace rtc {
namespace {

// Where these lines say they come from; readers of logs know them by it.
constexpr char kSourceFile[] = "logging.cc";
constexpr int kSourceLine = 717;

int64_t NowMicroseconds() { return webrtc::Clock::GetRealTimeClock()->TimeInMicroseconds(); }

}  // namespace

LogCallCostTime::LogCallCostTime(const char* name)
    : name_(name == nullptr ? "" : name), start_us_(NowMicroseconds()) {}

LogCallCostTime::~LogCallCostTime() {
  if (!LogMessage::Loggable(LS_INFO)) {
    return;
  }
  const int64_t cost_us = NowMicroseconds() - start_us_;
  LogMessage(kSourceFile, kSourceLine, LS_INFO).stream() << name_ << " call cost[us] " << cost_us;
}

}  // namespace rtc
