// How the built-in tracer spares annotations their work while no capture runs. For its sources
// only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_PAUSE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_PAUSE_H_

namespace webrtc {
namespace trace_event_internal {

// While paused, annotations count as disabled, whatever the installed tracer says; installing one
// ends the pause. Annotations that run on other threads meanwhile may still emit.
void PauseAnnotations(bool paused);

}  // namespace trace_event_internal
}  // namespace webrtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_PAUSE_H_
