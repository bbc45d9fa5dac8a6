#include "media_core/common/webrtc/rtc_base/logging.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

// The size of ALOG's buffer, the terminator included.
constexpr size_t kFormatBufferSize = 4090;

// The line that messages of ALOG say they come from.
int FormattedSourceLine(LoggingSeverity sev) {
  constexpr int kVerboseLine = 693;
  constexpr int kLinesPerCase = 3;
  return kVerboseLine + kLinesPerCase * (sev - LS_VERBOSE);
}

// Cuts what does not fit with a newline and a terminator, makes the newlines at the end one.
void EndWithOneNewline(char (&buffer)[kFormatBufferSize], size_t length) {
  length = std::min(length, kFormatBufferSize - 2);
  while (length > 0 && buffer[length - 1] == '\n') {
    --length;
  }
  buffer[length] = '\n';
  buffer[length + 1] = '\0';
}

}  // namespace

void ALOG(LoggingSeverity sev, const char* format, ...) {
  if (sev < LS_VERBOSE || sev > LS_ERROR || !LogMessage::Loggable(sev)) {
    return;
  }
  char buffer[kFormatBufferSize];
  va_list args;
  va_start(args, format);
  const int length = vsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  // A format that cannot be written (an unencodable wide character) gives an empty line.
  EndWithOneNewline(buffer, length < 0 ? 0 : static_cast<size_t>(length));
  LogMessage("logging.cc", FormattedSourceLine(sev), sev).stream() << buffer;
}

int64_t get_time_ms_c() { return TimeUTCMicros() / kNumMicrosecsPerMillisec; }

}  // namespace rtc
