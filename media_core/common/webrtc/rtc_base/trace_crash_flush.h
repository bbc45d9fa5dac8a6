// The trace of a process that is crashing.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_CRASH_FLUSH_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_CRASH_FLUSH_H_

#include <cstdint>

#pragma GCC visibility push(default)

namespace rtc {
namespace tracing {

// Writes what the running capture of the built-in tracer holds in memory, and the document's end,
// and ends the capture: later events are dropped. Returns whether there was a capture to write.
//
// For a process that is about to end; safe in signal handlers on any thread, also one that crashed
// inside the tracer. It takes no heap, less than 1 KiB of the stack, and no lock for good: it waits
// `max_wait_ns` at most for the writer thread to end what it is doing; after that it writes without
// it, and then an event more or less, or one twice, may stand in the file. Writing itself waits for
// the disk; a pipe that is full is not waited for. Strings that events refer to are read: a fault
// there is the caller's to survive.
//
// A process that lives on stops and starts captures as usual. Not to be called on two threads at a
// time; the second call returns false.
bool FlushTraceOfCrash(int64_t max_wait_ns);

}  // namespace tracing
}  // namespace rtc

// The same under a name by which crash capture finds it at run time, without needing this library.
extern "C" bool OruRtcFlushTraceOfCrash(int64_t max_wait_ns);

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_CRASH_FLUSH_H_
