#include <CoreFoundation/CoreFoundation.h>

#include "media_core/common/webrtc/rtc_base/log_preference.h"

namespace rtc {
namespace {

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

}  // namespace

LogPreference ReadPlatformLogPreference() {
  const CFStringRef key =
      CFStringCreateWithCString(kCFAllocatorDefault, kLogToStdErrPreference, kCFStringEncodingUTF8);
  if (key == nullptr) {
    return LogPreference::kNoBundle;
  }
  const LogPreference preference = ReadPreference(key);
  CFRelease(key);
  return preference;
}

}  // namespace rtc
