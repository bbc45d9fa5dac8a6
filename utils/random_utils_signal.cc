// Apart from the other identifiers: this one alone needs the runtime base's clock.
#include "media_core/common/webrtc/rtc_base/clock.h"
#include "utils/random_utils.h"
#include "utils/shared_random.h"

namespace tessik {
namespace utils {

std::string randomStringForSignal(int64_t seed, uint64_t length, const std::string& key) {
  static tessik::shared::RandomCounters counters(seed);
  const int64_t now = webrtc::Clock::GetRealTimeClock()->TimeInMilliseconds();
  return tessik::shared::RandomFromKey(&counters, now, length, key);
}

}  // namespace utils
}  // namespace tessik
