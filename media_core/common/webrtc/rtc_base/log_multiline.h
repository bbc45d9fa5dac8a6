// Dumps of buffers into the log.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_MULTILINE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_MULTILINE_H_

#include <cstddef>

#include "media_core/common/webrtc/rtc_base/log_severity.h"

#pragma GCC visibility push(default)

namespace rtc {

// What LogMultiline keeps from call to call: for each direction, indexed by `input`, the bytes not
// shown since the last text.
struct LogMultilineState {
  // At 0 what was sent, at 1 what came in.
  size_t unprintable_count[2] = {0, 0};
};

// Logs `len` bytes at `data` as several lines of severity `sev`, each with the label and " << " for
// input or " >> " for output in front. Does nothing when the severity is not loggable. Printable
// means the ASCII characters 0x20 to 0x7E, in every locale.
//
// Hex mode: 24 bytes a line, as characters ("." for the unprintable), then as hexadecimal digits
// with a blank after every fourth byte. Both columns of a short last line are filled with blanks to
// a full line's width (24 and 54).
//
// Text mode: a line of the log for every line of the data; what follows the last newline is a line
// of its own. Unprintable bytes other than ASCII white space are left out and counted; when
// printable text follows them, their number is logged before the line that holds that text. A line
// of which nothing is left is not logged; one that was empty is. A line with "Email" or "Passwd" in
// it is replaced by a remark.
//
// Null data ends a dump: bytes counted in `state` and not reported yet are reported.
//
// `state` may be null, then each call stands for itself; a state serves one thread at a time. Null
// labels count as "".
void LogMultiline(LoggingSeverity sev, const char* label, bool input, const void* data, size_t len,
                  bool hex_mode, LogMultilineState* state);

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_MULTILINE_H_
