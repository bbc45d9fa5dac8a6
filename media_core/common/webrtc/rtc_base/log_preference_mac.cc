#include <CoreFoundation/CoreFoundation.h>
#include <pthread.h>

#include <atomic>

#include "media_core/common/webrtc/rtc_base/log_preference.h"

namespace rtc {
namespace {

// Core Foundation cannot be used in a forked child, which goes by what its parent was told last.
std::atomic<bool> g_is_forked{false};
std::atomic<LogPreference> g_last_answer{LogPreference::kNoBundle};

void NoteFork() { g_is_forked.store(true, std::memory_order_relaxed); }

// At start-up: a child forked while another thread registers would wait for that thread.
[[maybe_unused]] const int kForksHandled = pthread_atfork(nullptr, nullptr, &NoteFork);

LogPreference ReadPreference(CFStringRef key) {
  const CFBundleRef bundle = CFBundleGetMainBundle();
  const CFStringRef identifier = bundle == nullptr ? nullptr : CFBundleGetIdentifier(bundle);
  if (identifier == nullptr) {
    return LogPreference::kNoBundle;
  }
  Boolean exists_and_valid = false;
  const Boolean value = CFPreferencesGetAppBooleanValue(key, identifier, &exists_and_valid);
  if (!exists_and_valid) {
    return LogPreference::kUnset;
  }
  return value ? LogPreference::kTrue : LogPreference::kFalse;
}

LogPreference AskCoreFoundation() {
  const CFStringRef key =
      CFStringCreateWithCString(kCFAllocatorDefault, kLogToStdErrPreference, kCFStringEncodingUTF8);
  if (key == nullptr) {
    return LogPreference::kNoBundle;
  }
  const LogPreference preference = ReadPreference(key);
  CFRelease(key);
  return preference;
}

}  // namespace

LogPreference ReadPlatformLogPreference() {
  if (!g_is_forked.load(std::memory_order_relaxed)) {
    g_last_answer.store(AskCoreFoundation(), std::memory_order_relaxed);
  }
  return g_last_answer.load(std::memory_order_relaxed);
}

}  // namespace rtc
