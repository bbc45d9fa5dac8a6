#include "media_core/common/webrtc/rtc_base/clock.h"

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace webrtc {
namespace {

constexpr double kNtpUnitsPerSecond = 4294967296.0;

struct NtpParts {
  uint32_t seconds;
  double fraction;
};

NtpParts ToNtp(const timeval& time) {
  int64_t seconds = time.tv_sec;
  double fraction = static_cast<double>(time.tv_usec) / 1e6;
  if (fraction >= 1.0) {
    fraction -= 1.0;
    ++seconds;
  } else if (fraction < -1.0) {
    fraction += 1.0;
    --seconds;
  }
  return {static_cast<uint32_t>(seconds + kNtpJan1970), fraction};
}

// Modulo 2^32, which for negative values only the way over 64 bits defines.
uint32_t ToNtpFractions(double value) { return static_cast<uint32_t>(static_cast<int64_t>(value)); }

}  // namespace

Clock* Clock::GetRealTimeClock() {
  // Never destroyed: threads and destructors that run at exit may still ask for the time.
  static Clock* const s_clock = new UnixRealTimeClock();
  return s_clock;
}

int64_t RealTimeClock::TimeInMilliseconds() const { return rtc::TimeMillis(); }

int64_t RealTimeClock::TimeInMicroseconds() const { return rtc::TimeMicros(); }

NtpTime RealTimeClock::CurrentNtpTime() const {
  const NtpParts now = ToNtp(CurrentTimeVal());
  return NtpTime(now.seconds, ToNtpFractions(now.fraction * kNtpUnitsPerSecond + 0.5));
}

int64_t RealTimeClock::CurrentNtpInMilliseconds() const {
  const NtpParts now = ToNtp(CurrentTimeVal());
  const double milliseconds = now.fraction * 1000.0 + 0.5;
  return static_cast<int64_t>(now.seconds) * 1000 + static_cast<int64_t>(milliseconds);
}

timeval UnixRealTimeClock::CurrentTimeVal() const {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return now;
}

SimulatedClock::SimulatedClock(int64_t initial_time_us)
    : time_us_(initial_time_us), lock_(RWLockWrapper::CreateRWLock()) {
  ORU_CHECK(lock_ != nullptr);
}

SimulatedClock::~SimulatedClock() = default;

int64_t SimulatedClock::TimeInMilliseconds() const {
  const ReadLockScoped scope(lock_.get());
  return (time_us_ + 500) / 1000;
}

int64_t SimulatedClock::TimeInMicroseconds() const {
  const ReadLockScoped scope(lock_.get());
  return time_us_;
}

NtpTime SimulatedClock::CurrentNtpTime() const {
  const int64_t now_ms = TimeInMilliseconds();
  const int64_t seconds = now_ms / 1000;
  const auto rest_ms = static_cast<double>(now_ms - seconds * 1000);
  return NtpTime(static_cast<uint32_t>(seconds + kNtpJan1970),
                 ToNtpFractions(rest_ms * kNtpUnitsPerSecond / 1000.0));
}

int64_t SimulatedClock::CurrentNtpInMilliseconds() const {
  return TimeInMilliseconds() + kNtpJan1970Millisecs;
}

void SimulatedClock::AdvanceTimeMilliseconds(int64_t milliseconds) {
  AdvanceTimeMicroseconds(milliseconds * 1000);
}

void SimulatedClock::AdvanceTimeMicroseconds(int64_t microseconds) {
  const WriteLockScoped scope(lock_.get());
  time_us_ += microseconds;
}

}  // namespace webrtc
