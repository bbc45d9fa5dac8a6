#include "media_core/common/webrtc/rtc_base/log_preference.h"

#include <atomic>

namespace rtc {
namespace {

std::atomic<LogPreferenceReader> sReader{&ReadPlatformLogPreference};

}  // namespace

void SetLogPreferenceReader(LogPreferenceReader reader) {
  sReader.store(reader, std::memory_order_relaxed);
}

LogPreference ReadLogPreference() {
  const LogPreferenceReader reader = sReader.load(std::memory_order_relaxed);
  return reader == nullptr ? LogPreference::kNoBundle : reader();
}

}  // namespace rtc
