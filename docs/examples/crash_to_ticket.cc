// An app whose last words reach the desk: a log and a trace beside its crash reports.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/file_log_sink.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/trace_calendar_time.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace {

constexpr int kFrames = 200;

void InstallCrashCapture(const std::string& dump_dir, const char* session) {
  CrashHandler::CrashHandlerProxy* handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  CrashHandler::CrashTraceInfo info{"example", session, "6.1.0", ""};
  handler->SetTraceInfo(info);
  handler->SetCrashDumpDirPath(dump_dir.c_str());
  handler->InstallCrashHandler();
}

void Work() {
  for (int frame = 0; frame < kFrames; ++frame) {
    ORU_TRACE_EVENT_INSTANT1("video", "Frame", "number", frame);
    ORU_LOG(LS_INFO) << "frame " << frame;
  }
}

}  // namespace

// Stands for the SDK: its symbols carry the word that makes a crash reportable.
extern "C" __attribute__((noinline)) int OruRTCExampleEnd(const char* how) {
  ORU_LOG(LS_INFO) << "the end: " << how;
  // A trace has what is a tenth of a second old, whatever the end is; only a crash writes the rest.
  if (strcmp(how, "kill") == 0 || strcmp(how, "exit") == 0) usleep(500000);
  if (strcmp(how, "kill") == 0) raise(SIGKILL);
  if (strcmp(how, "exit") == 0) _exit(0);
  if (strcmp(how, "abort") == 0) abort();
  volatile int* const nowhere = nullptr;
  *nowhere = 1;
  return *nowhere;
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fputs("usage: crash_to_ticket FOLDER SESSION crash|abort|kill|exit\n", stderr);
    return 2;
  }
  const std::string folder = argv[1];
  InstallCrashCapture(folder + "/dumps", argv[2]);

  rtc::FileLogSinkOptions options;
  options.calendar_time = true;
  rtc::FileLogSink file(folder + "/app.log", options);
  rtc::LogMessage::AddLogToStream(&file, rtc::LS_INFO);
  rtc::tracing::SetupInternalTracer();
  rtc::tracing::StartInternalCapture((folder + "/" + argv[2] + ".json").c_str());
  rtc::tracing::MarkCalendarTime();

  Work();
  return OruRTCExampleEnd(argv[3]);
}
