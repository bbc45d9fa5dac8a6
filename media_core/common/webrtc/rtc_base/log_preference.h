// The user's wish whether log lines go to standard error: the seam to the platform's preferences.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_PREFERENCE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_PREFERENCE_H_

#pragma GCC visibility push(default)

namespace rtc {

// The preference's name.
inline constexpr char kLogToStdErrPreference[] = "logToStdErr";

// What was found.
enum class LogPreference {
  // The program has no bundle identifier, so it has no preferences.
  kNoBundle,
  // The preference is missing, or is not a boolean.
  kUnset,
  kFalse,
  kTrue,
};

// Reads the preference of the main bundle's application. Called for every line that standard error
// might take, on any thread.
using LogPreferenceReader = LogPreference (*)();

// Replaces the reader; null stands for a program without a bundle. Thread-safe.
//
// macOS's reader is in place from the beginning. On Linux a plain C++ program has none and links no
// Objective-C; a program that links the target `rtc_base_foundation` gets GNUstep's.
void SetLogPreferenceReader(LogPreferenceReader reader);

// Asks the reader.
LogPreference ReadLogPreference();

// The reader a program begins with: the seam, one source a platform. On macOS a forked child, where
// nothing may be asked, gets the answer that its parent got last.
LogPreference ReadPlatformLogPreference();

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_PREFERENCE_H_
