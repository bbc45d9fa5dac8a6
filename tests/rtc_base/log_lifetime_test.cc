// Logging at the edges of a process: before main, in the destructors of statics, at exit and over
// fork, with sinks that do not return.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <string>
#include <thread>

#include "media_core/common/webrtc/rtc_base/file_log_sink.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "tests/rtc_base/log_capture.h"
#include "tests/rtc_base/thread_state.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::CollectingSink;
using oru_test::RunInFork;
using rtc::LogMessage;

void Log(const std::string& text) { LogMessage(nullptr, 0, rtc::LS_INFO).stream() << text; }

// Ends the process, when it is destroyed as a static, with the number of lines that its sink got
// from there.
class LogsInItsDestructor {
 public:
  ~LogsInItsDestructor() {
    if (!armed) return;
    const size_t before = sink.lines.size();
    if (LogMessage::Loggable(rtc::LS_INFO)) {
      Log("from a destructor");
    }
    _exit(static_cast<int>(sink.lines.size() - before));
  }
  bool armed = false;
  CollectingSink sink;
};
LogsInItsDestructor g_logs_in_its_destructor;

TEST(LogLifetime, DestructorsOfStaticsLog) {
  const ChildResult child = RunInFork([] {
    g_logs_in_its_destructor.armed = true;
    LogMessage::AddLogToStream(&g_logs_in_its_destructor.sink, rtc::LS_INFO);
    Log("from main");
    exit(7);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 1) << child.Ending() << child.err;
}

// Never returns from its first line, once it is told to.
class StuckSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& /*line*/) override {
    if (!stuck.exchange(true)) {
      for (;;) {
        pause();
      }
    }
    ++lines;
  }
  std::atomic<bool> stuck{false};
  std::atomic<int> lines{0};
};

// A thread that is stuck in the sink.
void StickThread(StuckSink* sink) {
  std::thread([] { Log("stuck"); }).detach();
  while (!sink->stuck) {
    std::this_thread::yield();
  }
}

TEST(LogLifetime, ExitDoesNotWaitForASink) {
  const ChildResult child = RunInFork([] {
    auto* const sink = new StuckSink();
    LogMessage::AddLogToStream(sink, rtc::LS_INFO);
    StickThread(sink);
    exit(5);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
}

TEST(LogLifetime, ExitInsideASinkEndsTheProcess) {
  class ExitingSink : public rtc::LogSink {
   public:
    void OnLogLine(const std::string& /*line*/) override { exit(5); }
  };
  const ChildResult child = RunInFork([] {
    LogMessage::AddLogToStream(new ExitingSink(), rtc::LS_INFO);
    Log("x");
    return 0;
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
}

// For the address sanitizer: nothing that a line needs is gone before the process is.
TEST(LogLifetime, ThreadsLogOnWhileTheProcessExits) {
  class Slow {
   public:
    ~Slow() { usleep(50000); }
  };
  const ChildResult child = RunInFork([] {
    class DroppingSink : public rtc::LogSink {
     public:
      void OnLogLine(const std::string& /*line*/) override { ++lines; }
      std::atomic<int> lines{0};
    };
    auto* const sink = new DroppingSink();
    LogMessage::AddLogToStream(sink, rtc::LS_INFO);
    std::thread([] {
      for (;;) {
        LogMessage(nullptr, 0, rtc::LS_INFO).stream() << std::setprecision(3) << 1.23456;
      }
    }).detach();
    while (sink->lines == 0) {
      std::this_thread::yield();
    }
    static Slow runs_after_what_was_made_since;
    exit(5);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending() << child.err;
}

int ForkAndWait(const std::function<int()>& in_child) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(in_child());
  }
  int status = -1;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST(LogLifetime, ForkDoesNotWaitForASinkAndItsChildLogs) {
  const ChildResult child = RunInFork([] {
    auto* const sink = new StuckSink();
    LogMessage::AddLogToStream(sink, rtc::LS_INFO);
    StickThread(sink);
    return ForkAndWait([sink] {
      CollectingSink added;
      LogMessage::AddLogToStream(&added, rtc::LS_INFO);
      Log("in the child");
      LogMessage::RemoveLogToStream(&added);
      return sink->lines == 1 && added.lines.size() == 1 ? 5 : 6;
    });
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
}

// Forks inside its first line, when another thread waits for the log.
class ForkingSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& /*line*/) override {
    if (lines++ > 0) return;
    std::thread waiter([this] {
      waiter_id = rtc::CurrentThreadId();
      Log("waits");
    });
    while (waiter_id == 0) {
      std::this_thread::yield();
    }
    oru_test::AwaitSleeping(waiter_id);
    waiter.detach();
    is_child = fork() == 0;
  }
  std::atomic<uint32_t> waiter_id{0};
  int lines = 0;
  bool is_child = false;
};

TEST(LogLifetime, AChildForkedInsideASinkLogsAtFullSpeed) {
  const ChildResult child = RunInFork([] {
    auto* const sink = new ForkingSink();
    LogMessage::AddLogToStream(sink, rtc::LS_INFO);
    Log("first");
    if (!sink->is_child) {
      int status = -1;
      wait(&status);
      return WEXITSTATUS(status);
    }
    // Each would pay for some three thousand futile attempts to take the lock at once.
    constexpr int kLines = 5000;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kLines; ++i) {
      Log("in the child");
    }
    const bool fast = std::chrono::steady_clock::now() - start < std::chrono::seconds(2);
    _exit(fast && sink->lines == 1 + kLines ? 5 : 6);
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
}

// A file sink whose thread sleeps in a write, its lock held.
TEST(LogLifetime, AChildForkedWhileAFileSinkWritesFindsItUsable) {
  const oru_test::TempDir dir;
  const std::string path = dir.Join("fifo");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const ChildResult child = RunInFork([&path] {
    rtc::FileLogSinkOptions options;
    options.buffer_bytes = 0;
    auto* const sink = new rtc::FileLogSink(path, options);
    std::atomic<uint32_t> writer_id{0};
    std::thread([&] {
      const std::string line = std::string(1000, 'x') + "\n";
      writer_id = rtc::CurrentThreadId();
      for (;;) {
        sink->OnLogLine(line);
      }
    }).detach();
    while (writer_id == 0) {
      std::this_thread::yield();
    }
    oru_test::AwaitSleeping(writer_id);
    return ForkAndWait([sink] { return sink->is_open() && sink->Flush() ? 5 : 6; });
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
}

}  // namespace
