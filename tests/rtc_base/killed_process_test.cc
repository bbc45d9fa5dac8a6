// Programs that log and trace from several threads at full speed, killed at random moments: every
// line but the last one is whole, and nothing is missing before it.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/file_log_sink.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "tests/rtc_base/trace_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ReadFile;
using oru_test::TempDir;
using rtc::FileLogSink;
using rtc::FileLogSinkOptions;

constexpr int kThreads = 4;
constexpr char kLetters[] =
    "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz";

int Repetitions(int ordinary, int in_long) {
  return getenv("ORU_TEST_LONG") != nullptr ? in_long : ordinary;
}

// Calls `step` with rising numbers on several threads for ever; as fast as they can for the first
// `fast` steps, so that files stay small.
void Work(int fast, const std::function<void(int thread, int number)>& step) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&step, t, fast] {
      for (int i = 0; i < INT_MAX; ++i) {
        step(t, i);
        if (i > fast) usleep(1000);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// What the test does while the child works, until it is killed.
using Moment = std::function<void()>;

Moment RandomMoment(std::mt19937* random, int up_to_microseconds) {
  const int time = std::uniform_int_distribution<int>(0, up_to_microseconds)(*random);
  return [time] { usleep(static_cast<useconds_t>(time)); };
}

// When the file has begun to grow.
Moment Growth(const std::string& path, size_t bytes) {
  return [path, bytes] {
    struct stat info = {};
    for (int i = 0; i < 30000; ++i) {
      if (stat(path.c_str(), &info) == 0 && static_cast<size_t>(info.st_size) > bytes) return;
      usleep(1000);
    }
    ADD_FAILURE() << path << " did not grow";
  };
}

// Runs `start` and then `step` as Work() does in a forked child, which is then killed.
void RunAndKill(const Moment& moment, int fast, const std::function<void()>& start,
                const std::function<void(int thread, int number)>& step) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    start();
    if (write(ends[1], "x", 1) != 1) _exit(1);
    Work(fast, step);
    _exit(2);
  }
  pollfd started = {ends[0], POLLIN, 0};
  constexpr int kBoundMs = 30000;
  EXPECT_EQ(poll(&started, 1, kBoundMs), 1) << "the child did not start";
  moment();
  kill(pid, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
  close(ends[0]);
  close(ends[1]);
}

// ---- Logging ----

std::string LogLineText(int thread, int number) {
  return std::to_string(thread) + ":" + std::to_string(number) + ":" +
         std::string(kLetters, static_cast<size_t>(number) % sizeof(kLetters)) + ":end";
}

// Whether the line is one of the program's, which it names.
bool ParseLogLine(std::string_view line, int* thread, int* number) {
  constexpr std::string_view kPrefix = "[I] ";
  if (line.substr(0, kPrefix.size()) != kPrefix) return false;
  line.remove_prefix(kPrefix.size());
  const std::string text(line);
  return sscanf(text.c_str(), "%d:%d:", thread, number) == 2 &&
         text == LogLineText(*thread, *number);
}

// What was read of the files of killed programs.
struct LogText {
  int lines = 0;
  // Lines without an end, and those that the next program closed.
  int cut = 0;
  // Numbers that do not follow those before.
  int gaps = 0;
};

void ReadLog(const std::string& text, std::map<int, int>* next, LogText* result) {
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    int thread = 0;
    int number = 0;
    const bool ends = end != std::string::npos;
    if (ends && ParseLogLine(std::string_view(text).substr(at, end - at), &thread, &number)) {
      ++result->lines;
      const auto known = next->find(thread);
      // A program begins at 0; the oldest file that is left, anywhere.
      if (known != next->end() && number != known->second && number != 0) ++result->gaps;
      (*next)[thread] = number + 1;
    } else {
      ++result->cut;
    }
    at = ends ? end + 1 : text.size();
  }
}

void LogUntilKilled(const std::string& path, const FileLogSinkOptions& options,
                    const Moment& moment) {
  RunAndKill(
      moment, 20000,
      [&] {
        auto* const sink = new FileLogSink(path, options);
        rtc::LogMessage::AddLogToStream(sink, rtc::LS_INFO);
      },
      [](int thread, int number) {
        rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << LogLineText(thread, number);
      });
}

class KilledLogging : public testing::Test {
 protected:
  KilledLogging() : random_(static_cast<unsigned>(getpid())) {
    RecordProperty("seed", static_cast<int>(getpid()));
  }

  // Eight programs follow each other on one file, then one more is the first on a new one.
  void KillAgainAndAgain(const FileLogSinkOptions& options) {
    for (int left = Repetitions(1, 40); left > 0 && !HasFailure(); --left) {
      KillSomeOnOneFile(options);
    }
  }
  void KillSomeOnOneFile(const FileLogSinkOptions& options) {
    for (int i = 1; i <= 8; ++i) {
      LogUntilKilled(path_, options, RandomMoment(&random_, 20000));
      const LogText log = Read(options.max_backups);
      EXPECT_LE(log.cut, i) << "more than the last line of each";
      EXPECT_EQ(log.gaps, 0);
      if (HasFailure()) return;
    }
    RemoveFiles(options.max_backups);
    LogUntilKilled(path_, options, Growth(path_, 0));
    const LogText log = Read(options.max_backups);
    EXPECT_GT(log.lines, 0);
    EXPECT_LE(log.cut, 1);
    RemoveFiles(options.max_backups);
  }

  std::string FileName(int backup) const {
    return backup == 0 ? path_ : path_ + "." + std::to_string(backup);
  }
  void RemoveFiles(int backups) {
    for (int i = backups; i >= 0; --i) unlink(FileName(i).c_str());
  }

  LogText Read(int backups) {
    LogText log;
    std::map<int, int> next;
    for (int i = backups; i >= 0; --i) {
      if (oru_test::PathExists(FileName(i)))
        ReadLog(oru_test::ReadLogFile(FileName(i)), &next, &log);
    }
    return log;
  }

  const TempDir dir_;
  const std::string path_ = dir_.Join("log");
  std::mt19937 random_;
};

TEST_F(KilledLogging, LeavesWholeLinesButTheLast) { KillAgainAndAgain({}); }

TEST_F(KilledLogging, LeavesWholeLinesButTheLastOfABuffer) {
  FileLogSinkOptions options;
  options.survive_kill = false;
  KillAgainAndAgain(options);
}

// How many calls of each thread have returned; survives the child.
using Returned = std::atomic<int>[kThreads];

TEST_F(KilledLogging, LosesNoLineWhoseCallReturned) {
  void* const page =
      mmap(nullptr, sizeof(Returned), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  auto& returned = *static_cast<Returned*>(page);
  int lines = 0;
  for (int left = Repetitions(40, 500); left > 0 && !HasFailure(); --left) {
    for (std::atomic<int>& calls : returned) calls = 0;
    RunAndKill(
        RandomMoment(&random_, 20000), 20000,
        [&] { rtc::LogMessage::AddLogToStream(new FileLogSink(path_, {}), rtc::LS_INFO); },
        [&returned](int thread, int number) {
          rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << LogLineText(thread, number);
          returned[thread].store(number + 1);
        });
    LogText log;
    std::map<int, int> next;
    ReadLog(oru_test::ReadLogFile(path_), &next, &log);
    EXPECT_LE(log.cut, 1);
    EXPECT_EQ(log.gaps, 0);
    for (int thread = 0; thread < kThreads; ++thread) {
      EXPECT_GE(next[thread], returned[thread].load()) << "of thread " << thread;
    }
    lines += log.lines;
    unlink(path_.c_str());
  }
  EXPECT_GT(lines, 0);
  munmap(page, sizeof(Returned));
}

TEST_F(KilledLogging, LeavesWholeLinesButTheLastWithoutABuffer) {
  FileLogSinkOptions options;
  options.buffer_bytes = 0;
  KillAgainAndAgain(options);
}

TEST_F(KilledLogging, LeavesWholeLinesButTheLastOfEachProgramInBackups) {
  FileLogSinkOptions options;
  options.buffer_bytes = 1000;
  options.max_file_bytes = 30000;
  options.max_backups = 4;
  KillAgainAndAgain(options);
}

// ---- Tracing ----

void TraceUntilKilled(const std::string& path, const Moment& moment) {
  RunAndKill(
      moment, 10000,
      [&] {
        rtc::tracing::SetupInternalTracer();
        if (!rtc::tracing::StartInternalCapture(path.c_str())) _exit(3);
      },
      [](int thread, int number) {
        ORU_TRACE_EVENT_INSTANT2("test", "event", "thread", thread, "number", number);
      });
}

// Its events, which are the first of each thread.
size_t CheckTrace(const std::string& text) {
  const oru_test::TraceText trace = oru_test::ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_EQ(trace.Lost(), 0u);
  std::map<uint64_t, uint64_t> next;
  size_t gaps = 0;
  for (const oru_test::TraceTextEvent& event : trace.Others()) {
    gaps += event.Number("number") == next[event.Number("thread")]++ ? 0 : 1;
  }
  EXPECT_EQ(gaps, 0u);
  return trace.events.size();
}

// As the document tells to complete what was cut in the middle of a write.
std::string Completed(const std::string& text) {
  if (oru_test::ReadTrace(text).ended) return text;
  return text.substr(0, text.rfind('\n') + 1) + "]}\n";
}

TEST(KilledTracing, LeavesWholeEventsInTheirOrderThatCanBeCompleted) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const auto seed = static_cast<unsigned>(getpid());
  testing::Test::RecordProperty("seed", static_cast<int>(seed));
  std::mt19937 random(seed);
  for (int left = Repetitions(4, 300); left > 0; --left) {
    TraceUntilKilled(path, RandomMoment(&random, 400000));
    const std::string text = ReadFile(path);
    CheckTrace(text);
    if (text.find('\n') != std::string::npos) {
      oru_test::WriteFile(path, Completed(text));
      EXPECT_EQ(oru_test::JsonError(path), "");
    }
    if (testing::Test::HasFailure()) return;
  }
}

TEST(KilledTracing, LeavesWhatWasWrittenSoFar) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  // More than the header and the first event.
  TraceUntilKilled(path, Growth(path, 1000));
  EXPECT_GT(CheckTrace(ReadFile(path)), 1u);
}

}  // namespace
