#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/log_calendar_time.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/small_disk.h"

namespace {

using oru_test::DescriptorOf;
using oru_test::ReadFile;
using oru_test::RunInFork;
using oru_test::TempDir;
using rtc::FileLogSink;
using rtc::FileLogSinkOptions;

FileLogSinkOptions Unbuffered() {
  FileLogSinkOptions options;
  options.buffer_bytes = 0;
  return options;
}

FileLogSinkOptions Buffered(size_t bytes) {
  FileLogSinkOptions options;
  options.survive_kill = false;
  options.buffer_bytes = bytes;
  return options;
}

// The milliseconds since 1970 that the line begins with; -1 when it does not.
int64_t StampOf(const std::string& line) {
  std::tm time = {};
  int millis = 0;
  int read = 0;
  sscanf(line.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3dZ %n", &time.tm_year, &time.tm_mon,
         &time.tm_mday, &time.tm_hour, &time.tm_min, &time.tm_sec, &millis, &read);
  time.tm_year -= 1900;
  time.tm_mon -= 1;
  return read == 25 ? rtc::TmToSeconds(time) * 1000 + millis : -1;
}

TEST(FileLogSink, CalendarTimeStandsBeforeEachLineWhenAskedFor) {
  const TempDir dir;
  const int64_t before = rtc::TimeUTCMicros() / 1000;
  for (const bool survive : {true, false}) {
    FileLogSinkOptions options;
    options.calendar_time = true;
    options.survive_kill = survive;
    FileLogSink sink(dir.Join("log"), options);
    for (int i = 0; i < 40; ++i) sink.OnLogLine("[I] one\n");
  }
  const int64_t after = rtc::TimeUTCMicros() / 1000;
  const std::vector<std::string> lines = oru_test::SplitLines(ReadFile(dir.Join("log")));
  ASSERT_EQ(lines.size(), 80u);
  int64_t last = before;
  for (const std::string& line : lines) {
    EXPECT_GE(StampOf(line), last) << line;
    EXPECT_EQ(line.substr(25), "[I] one");
    last = StampOf(line);
  }
  EXPECT_LE(last, after);
}

TEST(FileLogSink, LinesStandAsTheyAreWithoutTheOption) {
  const TempDir dir;
  { FileLogSink(dir.Join("log"), {}).OnLogLine("[I] one\n"); }
  EXPECT_EQ(ReadFile(dir.Join("log")), "[I] one\n");
}

TEST(LogCalendarTime, EveryDayOfFourCenturiesIsTheLibrarysOwn) {
  for (int64_t day = 0; day < 146097; ++day) {
    const std::time_t seconds = day * 86400 + day % 86400;
    std::tm expected = {};
    gmtime_r(&seconds, &expected);
    char text[64];
    ASSERT_NE(strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.042Z ", &expected), 0u);
    ASSERT_EQ(rtc::CalendarTimePrefix(seconds * 1000000 + 42999), text);
  }
  EXPECT_EQ(rtc::CalendarTimePrefix(-1), "1970-01-01T00:00:00.000Z ");
  EXPECT_EQ(rtc::CalendarTimePrefix(INT64_MAX), "9999-12-31T23:59:59.999Z ");
}

TEST(FileLogSink, BufferedLinesReachTheFileAtItsEnd) {
  const TempDir dir;
  {
    FileLogSink sink(dir.Join("log"), Buffered(1000));
    EXPECT_TRUE(sink.is_open());
    sink.OnLogLine("one\n");
    sink.OnLogLine("two\n");
    EXPECT_EQ(ReadFile(dir.Join("log")), "") << "buffered";
  }
  EXPECT_EQ(ReadFile(dir.Join("log")), "one\ntwo\n");
}

TEST(FileLogSink, ReceivesTheLog) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), {});
  rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  rtc::LogMessage("f.cc", 3, rtc::LS_INFO).stream() << "text";
  rtc::LogMessage::RemoveLogToStream(&sink);
  EXPECT_TRUE(sink.Flush());
  EXPECT_EQ(ReadFile(dir.Join("log")), "[I] (f.cc:3): text\n");
}

TEST(FileLogSink, SinkIdIsTheOptions) {
  const TempDir dir;
  FileLogSinkOptions options;
  options.sink_id = 9;
  EXPECT_EQ(FileLogSink(dir.Join("log"), options).sink_id(), 9);
}

TEST(FileLogSink, FlushWritesAtOnce) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), {});
  sink.OnLogLine("one\n");
  EXPECT_TRUE(sink.Flush());
  EXPECT_EQ(ReadFile(dir.Join("log")), "one\n");
  EXPECT_TRUE(sink.Flush()) << "nothing to write";
}

TEST(FileLogSink, FullBufferIsWrittenInWholeLines) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), Buffered(10));
  sink.OnLogLine("1234\n");
  sink.OnLogLine("5678\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "");
  sink.OnLogLine("9\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "1234\n5678\n");
  sink.OnLogLine("longer than the buffer\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "1234\n5678\n9\nlonger than the buffer\n");
}

TEST(FileLogSink, WithoutABufferEveryLineIsWritten) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), Unbuffered());
  sink.OnLogLine("one\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "one\n");
}

TEST(FileLogSink, ExistingFileIsContinuedOnANewLine) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("log"), "old\ncut");
  {
    FileLogSink sink(dir.Join("log"), {});
    sink.OnLogLine("new\n");
  }
  EXPECT_EQ(ReadFile(dir.Join("log")), "old\ncut\nnew\n");
}

TEST(FileLogSink, UnopenableFileDropsAndCountsUntilItCanBeOpened) {
  const TempDir dir;
  FileLogSink sink(dir.Join("missing/log"), Unbuffered());
  EXPECT_FALSE(sink.is_open());
  sink.OnLogLine("lost\n");
  sink.OnLogLine("lost too\n");
  EXPECT_EQ(sink.dropped_lines(), 2u);
  oru_test::MakeDirs(dir.Join("missing"));
  sink.OnLogLine("kept\n");
  EXPECT_TRUE(sink.is_open());
  EXPECT_EQ(sink.dropped_lines(), 2u);
  EXPECT_EQ(ReadFile(dir.Join("missing/log")), "kept\n");
}

TEST(FileLogSink, ClosedDescriptorIsOpenedAnew) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), Unbuffered());
  sink.OnLogLine("one\n");
  close(DescriptorOf(dir.Join("log")));
  sink.OnLogLine("two\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "one\ntwo\n");
}

TEST(FileLogSink, DescriptorTakenByAnotherFileIsLeftAlone) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), Unbuffered());
  sink.OnLogLine("one\n");
  const int fd = DescriptorOf(dir.Join("log"));
  ASSERT_GE(fd, 0);
  const int other = open(dir.Join("other").c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(dup2(other, fd), fd);
  sink.OnLogLine("two\n");
  EXPECT_EQ(ReadFile(dir.Join("other")), "");
  EXPECT_EQ(ReadFile(dir.Join("log")), "one\ntwo\n");
  EXPECT_NE(fcntl(fd, F_GETFD), -1) << "closed what was not its own";
  close(fd);
  close(other);
}

TEST(FileLogSink, FullDiskLeavesWholeLinesAndCountsTheRest) {
  const TempDir dir;
  const std::string path = dir.Join("log");
  const oru_test::ChildResult child = RunInFork([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {10, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    FileLogSink sink(path, Buffered(1000));
    sink.OnLogLine("1234\n");
    sink.OnLogLine("56789\n");
    sink.OnLogLine("0\n");
    errno = 77;
    if (sink.Flush() || errno != 77 || sink.dropped_lines() != 2) {
      return 1;
    }
    if (ReadFile(path) != "1234\n") {
      return 2;
    }
    const rlimit room = {1000, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &room);
    sink.OnLogLine("later\n");
    return sink.Flush() ? 0 : 3;
  });
  EXPECT_EQ(child.exit_code, 0) << child.err;
  EXPECT_EQ(ReadFile(path), "1234\nlater\n");
}

// Several threads on a disk that is full for a while.
void FillADisk(const FileLogSinkOptions& options) {
  constexpr int kLines = 3000;
  const oru_test::SmallDisk disk(65536);
  const std::string path = disk.Join("log");
  const oru_test::ChildResult child = RunInFork([&] {
    disk.Enter();
    FileLogSink sink(path, options);
    rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
      threads.emplace_back([] {
        for (int i = 0; i < kLines; ++i) {
          rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << i << " of a thread's lines";
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    if (sink.Flush()) return 1;
    disk.MakeRoom();
    rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "later";
    if (!sink.Flush()) return 2;
    rtc::LogMessage::RemoveLogToStream(&sink);
    const std::vector<std::string> lines = oru_test::SplitLines(ReadFile(path));
    return lines.size() + sink.dropped_lines() == 3 * kLines + 1 ? 0 : 3;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  std::vector<std::string> lines = oru_test::SplitLines(ReadFile(path));
  ASSERT_GT(lines.size(), 100u);
  EXPECT_EQ(lines.back(), "[I] later");
  lines.pop_back();
  const std::regex whole("\\[I\\] \\d+ of a thread's lines");
  for (const std::string& line : lines) {
    EXPECT_TRUE(std::regex_match(line, whole)) << line;
  }
}

TEST(FileLogSink, OnAFullDiskEveryLineIsWholeInTheFileOrCounted) { FillADisk({}); }

TEST(FileLogSink, OnAFullDiskEveryBufferedLineIsWholeInTheFileOrCounted) {
  FillADisk(Buffered(1000));
}

TEST(FileLogSink, RemovedFileIsBegunAnew) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), Unbuffered());
  sink.OnLogLine("one\n");
  unlink(dir.Join("log").c_str());
  sink.OnLogLine("two\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "two\n");
  EXPECT_EQ(sink.dropped_lines(), 0u);
}

TEST(FileLogSink, RemovedFolderDropsAndCountsUntilItIsThereAgain) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("folder"));
  FileLogSinkOptions options = Unbuffered();
  options.max_file_bytes = 10;
  FileLogSink sink(dir.Join("folder/log"), options);
  sink.OnLogLine("one\n");
  oru_test::RemoveAll(dir.Join("folder"));
  sink.OnLogLine("lost\n");
  sink.OnLogLine("lost, and longer than the file\n");
  EXPECT_FALSE(sink.is_open());
  EXPECT_FALSE(oru_test::PathExists(dir.Join("folder")));
  EXPECT_EQ(sink.dropped_lines(), 2u);
  oru_test::MakeDirs(dir.Join("folder"));
  sink.OnLogLine("two\n");
  EXPECT_EQ(ReadFile(dir.Join("folder/log")), "two\n");
  EXPECT_EQ(sink.dropped_lines(), 2u);
}

TEST(FileLogSink, DeviceThatTakesNothingIsSurvived) {
  FileLogSink sink("/dev/full", Unbuffered());
  sink.OnLogLine("x\n");
  EXPECT_EQ(sink.dropped_lines(), 1u);
}

TEST(FileLogSink, KilledProcessLeavesWholeBufferedLines) {
  const TempDir dir;
  const oru_test::ChildResult child = RunInFork([&] {
    FileLogSink sink(dir.Join("log"), Buffered(64 * 1024));
    for (int i = 0; i < 10000; ++i) {
      sink.OnLogLine("line number " + std::to_string(i) + "\n");
    }
    raise(SIGKILL);
    return 0;
  });
  EXPECT_EQ(child.signal, SIGKILL);
  const std::string text = ReadFile(dir.Join("log"));
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.back(), '\n');
}

TEST(FileLogSink, ForkedChildDoesNotWriteItsParentsBufferedLines) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), Buffered(1000));
  sink.OnLogLine("parent\n");
  const oru_test::ChildResult child = RunInFork([&] {
    sink.OnLogLine("child\n");
    return sink.Flush() ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0);
  EXPECT_EQ(ReadFile(dir.Join("log")), "child\n");
  sink.Flush();
  EXPECT_EQ(ReadFile(dir.Join("log")), "child\nparent\n");
}

TEST(FileLogSink, FullFileBecomesABackup) {
  const TempDir dir;
  FileLogSinkOptions options = Unbuffered();
  options.max_file_bytes = 10;
  options.max_backups = 2;
  FileLogSink sink(dir.Join("log"), options);
  for (const char* line : {"1234\n", "5678\n", "abcd\n", "efgh\n", "much longer line\n", "z\n"}) {
    sink.OnLogLine(line);
  }
  EXPECT_EQ(ReadFile(dir.Join("log")), "z\n");
  EXPECT_EQ(ReadFile(dir.Join("log.1")), "much longer line\n");
  EXPECT_EQ(ReadFile(dir.Join("log.2")), "abcd\nefgh\n");
  EXPECT_EQ(oru_test::ListDir(dir.path()).size(), 3u);
  EXPECT_EQ(sink.dropped_lines(), 0u);
}

TEST(FileLogSink, FullFileIsRemovedWhenNoBackupsAreKept) {
  const TempDir dir;
  FileLogSinkOptions options = Unbuffered();
  options.max_file_bytes = 10;
  options.max_backups = 0;
  FileLogSink sink(dir.Join("log"), options);
  for (const char* line : {"1234\n", "5678\n", "abcd\n"}) {
    sink.OnLogLine(line);
  }
  EXPECT_EQ(ReadFile(dir.Join("log")), "abcd\n");
  EXPECT_EQ(oru_test::ListDir(dir.path()).size(), 1u);
}

TEST(FileLogSinkInThreads, FlushesBetweenLinesLoseNothing) {
  const TempDir dir;
  constexpr int kLines = 2000;
  FileLogSink sink(dir.Join("log"), {});
  rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < kLines; ++i) {
        rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "x" << i;
      }
    });
  }
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(sink.Flush());
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  rtc::LogMessage::RemoveLogToStream(&sink);
  sink.Flush();
  const std::vector<std::string> lines = oru_test::SplitLines(ReadFile(dir.Join("log")));
  EXPECT_EQ(lines.size(), 4u * kLines);
  for (const std::string& line : lines) {
    EXPECT_EQ(line.substr(0, 5), "[I] x");
  }
}

}  // namespace
