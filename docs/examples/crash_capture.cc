// An app that captures crashes of the SDK inside it.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

namespace {

// Called before the report is written, in signal context: only async-signal-safe functions here.
void OnCrash(void* /*handler*/, CrashHandler::CrashType /*kind*/) {
  constexpr char kText[] = "example: crashed, writing a report\n";
  if (write(STDERR_FILENO, kText, sizeof kText - 1) < 0) return;
}

// What crash capture itself has to say, in signal context too.
void OnModuleLog(CrashHandler::CrashHandlerLogLevel /*level*/, const char* tag,
                 const char* /*file*/, int /*line*/, char* message) {
  char line[2200];
  const int length = snprintf(line, sizeof line, "%s: %s\n", tag, message);
  if (length > 0 && write(STDERR_FILENO, line, static_cast<size_t>(length)) < 0) return;
}

void InstallCrashCapture(const char* dump_dir) {
  CrashHandler::CrashHandlerProxy* handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  CrashHandler::CrashTraceInfo info{"example", "session1", "6.1.0", "channel=alpha"};
  handler->SetTraceInfo(info);
  handler->SetCrashDumpDirPath(dump_dir);
  handler->SetCrashHandlerCallback(OnCrash);
  handler->SetDebugLogSinkCallback(OnModuleLog);
  handler->InstallCrashHandler();
}

// A stack for the handler, so that an overflow of this thread's own leaves a report too. Every
// thread that wants this needs a stack of its own.
std::unique_ptr<char[]> UseAlternateStack() {
  constexpr size_t kSize = size_t{256} << 10;
  auto memory = std::make_unique<char[]>(kSize);
  stack_t stack = {};
  stack.ss_sp = memory.get();
  stack.ss_size = kSize;
  sigaltstack(&stack, nullptr);
  return memory;
}

}  // namespace

// Stands for the SDK: its symbols carry the word that makes a crash reportable.
extern "C" __attribute__((noinline)) int OruRTCExampleJoin(volatile int* channel) {
  *channel = 1;
  return *channel + 1;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fputs("usage: crash_capture DUMP_DIR crash|end\n", stderr);
    return 2;
  }
  const auto stack = UseAlternateStack();
  InstallCrashCapture(argv[1]);

  int channel = 0;
  const bool crash = strcmp(argv[2], "crash") == 0;
  const int joined = OruRTCExampleJoin(crash ? nullptr : &channel);

  // An app that ends in order takes the hooks out first, then gives the handler back.
  CrashHandler::CrashHandlerProxy* handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  handler->UnInstallCrashHandler();
  CrashHandler::CrashHandlerProxy::DestroyCrashHandler(handler);
  printf("joined %d\n", joined);
  return 0;
}
