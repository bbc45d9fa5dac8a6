// An app whose crash reports have companions.
#include "media_core/biz_engine/crash_handler/crash_companion.h"

#include <cstdio>
#include <stdexcept>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/common/webrtc/rtc_base/last_lines_log_sink.h"
#include "media_core/common/webrtc/rtc_base/logging.h"

namespace {

void InstallCrashCapture(const std::string& dump_dir) {
  // Lives as long as the process: a crash reads it.
  static rtc::LastLinesLogSink last_lines;
  rtc::LogMessage::AddLogToStream(&last_lines, rtc::LS_INFO);
  CrashHandler::UseLogLines(&last_lines);

  CrashHandler::CrashCompanionOptions options;
  options.also_of_host_crashes = true;
  CrashHandler::WriteCrashCompanions(options);

  CrashHandler::CrashHandlerProxy* handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  CrashHandler::CrashTraceInfo info{"example", "session1", "6.1.0", ""};
  handler->SetTraceInfo(info);
  handler->SetCrashDumpDirPath(dump_dir.c_str());
  handler->InstallCrashHandler();
}

}  // namespace

// Stands for the SDK: its symbols carry the word that makes a crash reportable.
extern "C" __attribute__((noinline)) int OruRTCExampleJoin(const std::string& channel) {
  CrashHandler::SetCrashNote("channel", channel.c_str());
  ORU_LOG(LS_INFO) << "joins " << channel;
  throw std::runtime_error("no such channel");
}

// NOLINTNEXTLINE(bugprone-exception-escape): that nobody catches it is the crash.
int main(int argc, char** argv) {
  if (argc != 3) {
    fputs("usage: crash_companion DUMP_DIR CHANNEL\n", stderr);
    return 2;
  }
  InstallCrashCapture(argv[1]);
  return OruRTCExampleJoin(argv[2]);
}
