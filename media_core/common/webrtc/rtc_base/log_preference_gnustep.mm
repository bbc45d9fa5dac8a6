#import <Foundation/Foundation.h>

#include "media_core/common/webrtc/rtc_base/log_preference.h"
#include "utils/shared_gnustep.h"

// A name without C++ decoration that programs' link lines ask for, so that this file is not left
// out of them.
extern "C" [[gnu::visibility("default")]] const int oru_rtc_base_foundation;

namespace rtc {
namespace {

// The same values that Core Foundation takes for booleans. Property lists of the older kind hold
// numbers as text, so "1" and "0" count too.
LogPreference PreferenceFromText(NSString* text) {
  for (NSString* yes in @[ @"true", @"yes", @"1" ]) {
    if ([text caseInsensitiveCompare:yes] == NSOrderedSame) {
      return LogPreference::kTrue;
    }
  }
  for (NSString* no in @[ @"false", @"no", @"0" ]) {
    if ([text caseInsensitiveCompare:no] == NSOrderedSame) {
      return LogPreference::kFalse;
    }
  }
  return LogPreference::kUnset;
}

LogPreference PreferenceFromValue(id value) {
  if ([value isKindOfClass:[NSString class]]) {
    return PreferenceFromText(value);
  }
  if (![value isKindOfClass:[NSNumber class]]) {
    return LogPreference::kUnset;
  }
  // Core Foundation takes any integer, and no other number, for a boolean.
  const char kind = [value objCType][0];
  if (kind == 'f' || kind == 'd') {
    return LogPreference::kUnset;
  }
  return [value longLongValue] != 0 ? LogPreference::kTrue : LogPreference::kFalse;
}

LogPreference ReadFoundationLogPreference() {
  @autoreleasepool {
    NSString* const identifier = [[NSBundle mainBundle] bundleIdentifier];
    if ([identifier length] == 0) {
      return LogPreference::kNoBundle;
    }
    NSString* const key = [NSString stringWithUTF8String:kLogToStdErrPreference];
    NSUserDefaults* const defaults = [NSUserDefaults standardUserDefaults];
    for (NSString* domain in @[ identifier, NSGlobalDomain ]) {
      id value = [[defaults persistentDomainForName:domain] objectForKey:key];
      if (value != nil) {
        return PreferenceFromValue(value);
      }
    }
    return LogPreference::kUnset;
  }
}

// A program in which GNUstep cannot be asked counts as one without a bundle.
int Install() {
  if (tessik::shared::IsGnustepUsable()) {
    SetLogPreferenceReader(&ReadFoundationLogPreference);
  }
  return 1;
}

}  // namespace
}  // namespace rtc

const int oru_rtc_base_foundation = rtc::Install();
