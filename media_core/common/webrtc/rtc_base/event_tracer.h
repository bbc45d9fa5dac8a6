// The built-in tracer: writes the events of trace_event.h's annotations to a file.
//
//   rtc::tracing::SetupInternalTracer();
//   rtc::tracing::StartInternalCapture("/tmp/trace.json");
//   ...
//   rtc::tracing::StopInternalCapture();
//   rtc::tracing::ShutdownInternalTracer();
//
// While a capture runs, events are queued in memory and a thread writes them more than ten times a
// second, each time whole lines and the document's end, as one JSON document: an object that holds
// the array "traceEvents". Trace viewers read it. Every category is recorded except those that
// begin with "disabled-by-default-".
//
// Between two writes the file is complete, whatever ends the process: what was emitted 100 ms
// before is there. (SIGKILL in the middle of a write leaves a document without its last line "]}",
// whose lines are whole, but perhaps the last one. So does a stream of the caller's, which is not
// completed before its capture is stopped.) FlushTraceOfCrash() of trace_crash_flush.h writes what
// is still queued. Events that a full disk, or a queue of 512 MiB, had no room for are dropped: an
// instant "EventLogger::Lost" in their place says how many.
//
// A forked child has no tracer: its events are dropped, until it sets up one of its own.
//
// Names, categories and string arguments that are not copied must stay valid until they are
// written. The functions here are called by one thread at a time; events come from any.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_TRACER_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_TRACER_H_

#include <cstdio>

#include "media_core/common/webrtc/rtc_base/sprintfn.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

#pragma GCC visibility push(default)

namespace rtc {
namespace tracing {

// Installs the tracer. Setting it up while it is set up ends the process.
void SetupInternalTracer();

// Begins a capture into a file, which is created (for its owner alone) or emptied. Returns false,
// having changed nothing, when the file cannot be opened (this is logged as an error) or the tracer
// is not set up. Others may have set a trap in the file's place: a link that neither the caller's
// user nor root made, a file of another user or with a second name, and a pipe without a reader
// count as files that cannot be opened. Starting
// while a capture runs ends the process. Events from before the start are not in the file.
bool StartInternalCapture(const char* filename);

// The same with an open file, which stays the caller's: flushed, but not closed, at the end. Null,
// or a tracer that is not set up, gives no capture.
void StartInternalCaptureToFile(FILE* file);

// Ends the capture and waits until the file is complete. Harmless when none runs.
void StopInternalCapture();

// Ends a capture that may be running and takes the tracer (or another that took its place) out.
// Threads must have stopped emitting events. Harmless when it is not set up.
void ShutdownInternalTracer();

}  // namespace tracing
}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_TRACER_H_
