// A host application as a user of the SDK writes it: it logs to a file, records a trace, installs
// crash capture, does some work, and crashes when it is told to.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "examples/host_app/crash_deeds.h"
#include "examples/host_app/next_start.h"
#include "examples/host_app/options.h"
#include "examples/host_app/recording.h"
#include "examples/host_app/sample_sdk.h"
#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace host_app {
namespace {

using CrashHandler::CrashHandlerProxy;

// What a report needs on the alternate stack, with room to spare.
constexpr size_t kAlternateStackSize = size_t{256} << 10;

// A crashed process may hold the lock of a stream: straight to the descriptor.
void WriteLine(const char* line, int length, size_t room) {
  if (length <= 0) return;
  const size_t count = static_cast<size_t>(length) < room ? static_cast<size_t>(length) : room - 1;
  if (write(STDERR_FILENO, line, count) < 0) return;
}

void OnCrash(void* /*handler*/, CrashHandler::CrashType kind) {
  char line[128];
  const int length = snprintf(line, sizeof line, "host_app: crash callback, kind %d\n", kind);
  WriteLine(line, length, sizeof line);
}

void OnModuleLog(CrashHandler::CrashHandlerLogLevel level, const char* tag, const char* /*file*/,
                 int /*line*/, char* message) {
  char line[4096];
  const int length = snprintf(line, sizeof line, "%s %d %s\n", tag, level, message);
  WriteLine(line, length, sizeof line);
}

const char* TextOrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

void InstallCrashCapture(const Options& options) {
  CrashHandlerProxy* handler = CrashHandlerProxy::CreateCrashHandler();
  CrashHandler::CrashHandlerConfig config = handler->GetCrashHandlerConfig();
  config.outputLogToConsole = options.console;
  handler->UpdateCrashHandlerConfig(config);
  CrashHandler::CrashTraceInfo info{TextOrNull(options.app_id), TextOrNull(options.session_id),
                                    TextOrNull(options.sdk_version),
                                    TextOrNull(options.extra_info)};
  handler->SetTraceInfo(info);
  if (!options.dump_dir.empty()) handler->SetCrashDumpDirPath(options.dump_dir.c_str());
  handler->SetCrashHandlerCallback(OnCrash);
  if (options.show_module_log) handler->SetDebugLogSinkCallback(OnModuleLog);
  handler->InstallCrashHandler();
  ORU_LOG(LS_INFO) << "Crash capture installed, reports go to "
                   << (options.dump_dir.empty() ? "the default directory" : options.dump_dir);
}

// Without a stack of its own the handler of a stack overflow has nowhere to run. Each thread that
// wants to be covered needs one; it must outlive the thread's work.
std::unique_ptr<char[]> UseAlternateStack() {
  auto memory = std::make_unique<char[]>(kAlternateStackSize);
  stack_t stack = {};
  stack.ss_sp = memory.get();
  stack.ss_size = kAlternateStackSize;
  sigaltstack(&stack, nullptr);
  return memory;
}

// Threads that wait until the end; once made, they all do.
class IdleThreads {
 public:
  explicit IdleThreads(int count) {
    for (int i = 0; i < count; ++i) threads_.emplace_back([this, i] { Wait(i); });
    std::unique_lock<std::mutex> lock(mutex_);
    all_wait_.wait(lock, [this, count] { return waiting_ == count; });
  }
  ~IdleThreads() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  IdleThreads(const IdleThreads&) = delete;
  IdleThreads& operator=(const IdleThreads&) = delete;

 private:
  void Wait(int index) {
    rtc::SetCurrentThreadName(("idle-" + std::to_string(index)).c_str());
    std::unique_lock<std::mutex> lock(mutex_);
    ++waiting_;
    all_wait_.notify_one();
    wake_.wait(lock, [this] { return done_; });
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable all_wait_;
  int waiting_ = 0;
  bool done_ = false;
  std::vector<std::thread> threads_;
};

void Crash(const Options& options) {
  ORU_TRACE_EVENT0("host_app", "Crash");
  ORU_LOG(LS_WARNING) << "Crashing on request: " << options.crash;
  if (options.outside_sdk) {
    DoCrashDeed(options.crash, options.crash_threads);
  } else {
    OruRTCSampleCrash(options.crash.c_str(), options.crash_threads);
  }
}

void CrashOnWorker(const Options& options) {
  std::thread([&options] {
    rtc::SetCurrentThreadName("worker");
    const auto stack = options.alternate_stack ? UseAlternateStack() : nullptr;
    Crash(options);
  }).join();
}

// What an app does all day.
void Work(int least_ms) {
  constexpr int kLeastRounds = 3;
  constexpr std::chrono::milliseconds kPause(20);
  const int64_t end = rtc::TimeAfter(least_ms);
  ORU_TRACE_EVENT0("host_app", "Work");
  for (int round = 0; round < kLeastRounds || rtc::TimeMillis() < end; ++round) {
    ORU_TRACE_EVENT1("host_app", "Round", "round", round);
    ORU_LOG(LS_INFO) << "Round " << round;
    if (least_ms > 0) std::this_thread::sleep_for(kPause);
  }
}

std::string DumpDir(const Options& options) {
  return options.dump_dir.empty() ? CrashHandlerProxy::GetDefaultCrashDumpDir() : options.dump_dir;
}

int Run(const Options& options) {
  const std::string log_dir = options.log_dir.empty() ? DefaultLogDir() : options.log_dir;
  std::unique_ptr<CrashHandler::CrashSession> session;
  if (options.look_back) {
    // Before this run writes to the files of the last one.
    LookBack(options, DumpDir(options));
    session = RecordSession(options, DumpDir(options), log_dir);
  }
  const Recording recording(log_dir);
  InstallCrashCapture(options);
  const auto stack = options.alternate_stack ? UseAlternateStack() : nullptr;
  const IdleThreads idle(options.idle_threads);
  Work(options.work_ms);
  if (options.crash.empty()) return 0;
  if (options.on_worker) {
    CrashOnWorker(options);
  } else {
    Crash(options);
  }
  fputs("host_app: still running\n", stderr);
  return 0;
}

}  // namespace
}  // namespace host_app

int main(int argc, char** argv) {
  host_app::Options options;
  std::string error;
  if (!host_app::ParseOptions(argc, argv, &options, &error)) {
    fprintf(stderr, "host_app: %s (try --help)\n", error.c_str());
    return 2;
  }
  if (options.help) {
    fputs(host_app::Usage().c_str(), stdout);
    return 0;
  }
  return host_app::Run(options);
}
