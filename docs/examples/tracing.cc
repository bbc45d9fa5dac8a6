// An app that records what its encoder does.
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace {

void SpendTime(int microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

void Encode(int frame) {
  ORU_TRACE_EVENT1("video", "Encode", "frame", frame);
  if (frame % 4 == 0) ORU_TRACE_EVENT_INSTANT0("video", "KeyFrame");
  {
    ORU_TRACE_EVENT0("video", "Transform");
    SpendTime(frame % 4 == 0 ? 2500 : 900);
  }
  SpendTime(100);
  ORU_TRACE_EVENT2("video", "Pack", "frame", frame, "codec", std::string("h264"));
  SpendTime(600);
}

void Video() {
  for (int frame = 0; frame < 8; ++frame) {
    Encode(frame);
    SpendTime(400);
  }
}

}  // namespace

int main(int argc, char** argv) {
  rtc::tracing::SetupInternalTracer();
  if (!rtc::tracing::StartInternalCapture(argc > 1 ? argv[1] : "trace.json")) {
    fputs("the trace file cannot be written\n", stderr);
    return 1;
  }
  std::thread video(Video);
  video.join();
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  return 0;
}
