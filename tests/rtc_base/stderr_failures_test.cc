// Lines for a standard error that is closed, full or gone: the program goes on, and sinks miss
// nothing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/logging.h"
#include "tests/rtc_base/log_capture.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::LogCapture;
using oru_test::RunInFork;
using rtc::LogMessage;

void Log(size_t number) { LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "line " << number; }

void LogFromThreads(size_t lines) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([lines] {
      for (size_t i = 0; i < lines; ++i) Log(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

bool IsWhole(const std::string& line) {
  static const std::regex pattern(R"(\[[-0-9]{10} [0-9:.]{12}\] \[I\] line \d+)");
  return std::regex_match(line, pattern);
}

// A pipe whose writing end is standard error; of the child only.
class PipeAsStderr {
 public:
  explicit PipeAsStderr(int writer_flags) {
    if (pipe(ends_) != 0 || dup2(ends_[1], STDERR_FILENO) != STDERR_FILENO) _exit(100);
    close(ends_[1]);
    fcntl(STDERR_FILENO, F_SETFL, writer_flags);
    fcntl(ends_[0], F_SETFL, O_NONBLOCK);
  }

  std::string ReadAll() const {
    std::string text;
    char buffer[65536];
    ssize_t got = 0;
    while ((got = read(ends_[0], buffer, sizeof buffer)) > 0) {
      text.append(buffer, static_cast<size_t>(got));
    }
    return text;
  }

  void CloseReader() const { close(ends_[0]); }

 private:
  int ends_[2] = {-1, -1};
};

TEST(StderrFailures, LinesForAClosedDescriptorAreLostAndLaterOnesAreNot) {
  const ChildResult child = RunInFork([] {
    const LogCapture capture;
    LogMessage::LogToDebug(rtc::LS_INFO);
    const int keep = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    LogFromThreads(100);
    dup2(keep, STDERR_FILENO);
    Log(4711);
    return capture.lines().size() == 201 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  const auto lines = oru_test::SplitLines(child.err);
  ASSERT_EQ(lines.size(), 1U) << child.err;
  EXPECT_TRUE(IsWhole(lines[0])) << lines[0];
  EXPECT_NE(lines[0].find("line 4711"), std::string::npos) << lines[0];
}

TEST(StderrFailures, AFullPipeThatDoesNotBlockLosesWholeLines) {
  const ChildResult child = RunInFork([] {
    const LogCapture capture;
    LogMessage::LogToDebug(rtc::LS_INFO);
    const PipeAsStderr pipe(O_NONBLOCK);
    LogFromThreads(3000);
    const auto early = oru_test::SplitLines(pipe.ReadAll());
    if (early.size() < 10 || early.size() > 5900) return 1;
    for (const std::string& line : early) {
      if (!IsWhole(line)) return 2;
    }
    Log(4711);
    const auto late = oru_test::SplitLines(pipe.ReadAll());
    if (late.size() != 1 || !IsWhole(late[0])) return 3;
    return capture.lines().size() == 6001 ? 0 : 4;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

class CountingSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& /*line*/) override { ++lines; }
  std::atomic<int> lines{0};
};

// It does so without the lock of the sinks.
TEST(StderrFailures, AFullPipeThatBlocksHoldsUpOnlyWhoWritesThere) {
  const ChildResult child = RunInFork([] {
    CountingSink sink;
    LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
    LogMessage::LogToDebug(rtc::LS_WARNING);
    const PipeAsStderr pipe(0);
    fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
    while (write(STDERR_FILENO, "x", 1) == 1) {
    }
    fcntl(STDERR_FILENO, F_SETFL, 0);
    std::thread writer([] { LogMessage(nullptr, 0, rtc::LS_WARNING).stream() << "held up"; });
    usleep(100000);
    Log(1);
    const bool alone = sink.lines == 1;
    pipe.ReadAll();
    writer.join();
    LogMessage::RemoveLogToStream(&sink);
    return alone && sink.lines == 2 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST(StderrFailures, APipeWithoutAReaderIsSurvivedWhereItsSignalIsIgnored) {
  const ChildResult child = RunInFork([] {
    signal(SIGPIPE, SIG_IGN);
    const LogCapture capture;
    LogMessage::LogToDebug(rtc::LS_INFO);
    const PipeAsStderr pipe(0);
    pipe.CloseReader();
    LogFromThreads(100);
    return capture.lines().size() == 200 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

// What becomes of signals is the program's to say, not the log's.
TEST(StderrFailures, APipeWithoutAReaderEndsAProgramThatLeavesItsSignalAlone) {
  const ChildResult child = RunInFork([] {
    signal(SIGPIPE, SIG_DFL);
    LogMessage::LogToDebug(rtc::LS_INFO);
    const PipeAsStderr pipe(0);
    pipe.CloseReader();
    Log(1);
    return 0;
  });
  EXPECT_EQ(child.signal, SIGPIPE) << child.Ending();
}

}  // namespace
