// Log files whose lines are there however the process ends.
#include "media_core/common/webrtc/rtc_base/log_tail.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/file_log_sink.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/small_disk.h"
#include "utils/shared_log_tail.h"

namespace {

using oru_test::ChildResult;
using oru_test::ReadFile;
using oru_test::ReadLogFile;
using oru_test::RunInFork;
using oru_test::TempDir;
using oru_test::WriteFile;
using rtc::FileLogSink;
using rtc::FileLogSinkOptions;

constexpr size_t kClaim = 64 * 1024;

std::string Zeros(size_t count) { return std::string(count, '\0'); }

// More lines than are written one by one, so that those behind them are stored. Returns them.
std::string Warm(FileLogSink* sink) {
  std::string lines;
  for (int i = 0; i < 20; ++i) {
    sink->OnLogLine("warm\n");
    lines += "warm\n";
  }
  return lines;
}

// What a reader takes for the file's text.
std::string TextOf(const std::string& path) {
  const std::string all = ReadFile(path);
  const int fd = open(path.c_str(), O_RDONLY);
  const uint64_t size = tessik::shared::SizeWithoutLogTail(fd, all.size());
  close(fd);
  return all.substr(0, size);
}

TEST(LogTail, LinesAreInTheFileAtOnceAndAloneAfterAFlush) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), {});
  sink.OnLogLine("one\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), "one\n");
  const std::string text = "one\n" + Warm(&sink);
  const std::string all = ReadFile(dir.Join("log"));
  EXPECT_GT(all.size(), kClaim);
  EXPECT_EQ(all, text + Zeros(all.size() - text.size()));
  EXPECT_EQ(TextOf(dir.Join("log")), text);
  EXPECT_TRUE(sink.Flush());
  EXPECT_EQ(ReadFile(dir.Join("log")), text);
  sink.OnLogLine("two\n");
  EXPECT_EQ(ReadFile(dir.Join("log")), text + "two\n");
}

TEST(LogTail, TheFileEndsBehindItsTextWhenTheSinkGoes) {
  const TempDir dir;
  std::string text;
  {
    FileLogSink sink(dir.Join("log"), {});
    text = Warm(&sink);
  }
  EXPECT_EQ(ReadFile(dir.Join("log")), text);
}

TEST(LogTail, LinesOverSeveralClaimsFollowEachOther) {
  const TempDir dir;
  std::string expected;
  {
    FileLogSink sink(dir.Join("log"), {});
    for (int i = 0; i < 3000; ++i) {
      const std::string line = std::to_string(i) + std::string(static_cast<size_t>(i % 700), 'x');
      sink.OnLogLine(line + "\n");
      expected += line + "\n";
      if (i == 1500) {
        sink.OnLogLine(std::string(5 * 1024 * 1024, 'h') + "\n");
        expected += std::string(5 * 1024 * 1024, 'h') + "\n";
      }
    }
    EXPECT_TRUE(TextOf(dir.Join("log")) == expected);
    EXPECT_EQ(sink.dropped_lines(), 0u);
  }
  EXPECT_TRUE(ReadFile(dir.Join("log")) == expected);
}

struct Ending {
  const char* name;
  void (*end)();
};

class LogEndings : public testing::TestWithParam<Ending> {};

TEST_P(LogEndings, LeaveEveryLine) {
  const TempDir dir;
  const std::string path = dir.Join("log");
  RunInFork([&path] {
    auto* const sink = new FileLogSink(path, {});
    for (int i = 0; i < 200; ++i) sink->OnLogLine("line " + std::to_string(i) + "\n");
    GetParam().end();
    return 0;
  });
  EXPECT_EQ(oru_test::SplitLines(TextOf(path)).size(), 200u);
  // The next sink goes on behind them.
  { FileLogSink(path, {}).OnLogLine("next\n"); }
  const std::vector<std::string> lines = oru_test::SplitLines(ReadFile(path));
  ASSERT_EQ(lines.size(), 201u);
  EXPECT_EQ(lines[199], "line 199");
  EXPECT_EQ(lines[200], "next");
}

INSTANTIATE_TEST_SUITE_P(, LogEndings,
                         testing::Values(Ending{"Kill", [] { raise(SIGKILL); }},
                                         Ending{"Abort", [] { abort(); }},
                                         Ending{"QuickExit", [] { _exit(3); }},
                                         Ending{"Fault", [] { raise(SIGSEGV); }},
                                         Ending{"Exec", [] { execlp("true", "true", nullptr); }}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(LogTail, ALineThatWasCutByAKillIsClosedByTheNextSink) {
  const TempDir dir;
  WriteFile(dir.Join("log"), "whole\ncu" + Zeros(100));
  { FileLogSink(dir.Join("log"), {}).OnLogLine("next\n"); }
  EXPECT_EQ(ReadFile(dir.Join("log")), "whole\ncu\nnext\n");
}

TEST(LogTail, ZeroBytesInALineAreShown) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), {});
  const std::string warm = Warm(&sink);
  sink.OnLogLine(std::string("a\0b\n", 4));
  EXPECT_EQ(TextOf(dir.Join("log")), warm + "a\\x00b\n");
}

TEST(LogTail, SeveralProcessesLoseNoLine) {
  const TempDir dir;
  const std::string path = dir.Join("log");
  constexpr int kProcesses = 4;
  constexpr int kLines = 5000;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(fork());
    if (children.back() == 0) {
      {
        FileLogSink sink(path, {});
        for (int i = 0; i < kLines; ++i) {
          sink.OnLogLine(std::to_string(p) + ":" + std::to_string(i) + "\n");
          if (i % 1000 == 500) sink.Flush();
        }
      }
      _exit(0);
    }
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::vector<int> next(kProcesses, 0);
  for (const std::string& line : oru_test::SplitLines(ReadLogFile(path))) {
    if (line.find_first_not_of(' ') == std::string::npos) continue;
    int process = -1;
    int number = -1;
    ASSERT_EQ(sscanf(line.c_str(), "%d:%d", &process, &number), 2) << line;
    EXPECT_EQ(number, next[static_cast<size_t>(process)]++);
  }
  EXPECT_EQ(next, std::vector<int>(kProcesses, kLines));
}

TEST(LogTail, AnOpenFileIsNotCutByAnotherSink) {
  const TempDir dir;
  FileLogSink first(dir.Join("log"), {});
  const std::string warm = Warm(&first);
  first.OnLogLine("one\n");
  const ChildResult child = RunInFork([&dir] {
    FileLogSink(dir.Join("log"), {}).OnLogLine("other\n");
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  first.OnLogLine("two\n");
  first.Flush();
  EXPECT_EQ(ReadLogFile(dir.Join("log")), warm + "one\ntwo\nother\n");
}

TEST(LogTail, AForkedChildAndItsParentGoOnInOneFile) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), {});
  const std::string warm = Warm(&sink);
  sink.OnLogLine("before\n");
  const ChildResult child = RunInFork([&sink] {
    sink.OnLogLine("child\n");
    return sink.is_open() ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  sink.OnLogLine("after\n");
  EXPECT_EQ(ReadLogFile(dir.Join("log")), warm + "before\nafter\nchild\n");
}

TEST(LogTail, LinesOfARemovedFileAreWrittenIntoTheNewOne) {
  const TempDir dir;
  FileLogSink sink(dir.Join("log"), {});
  Warm(&sink);
  sink.Flush();
  const std::string warm = Warm(&sink);
  unlink(dir.Join("log").c_str());
  sink.OnLogLine("three\n");
  sink.Flush();
  // Those that were stored, not those that were written before.
  const std::string text = ReadFile(dir.Join("log"));
  EXPECT_GT(text.size(), std::string("three\n").size());
  EXPECT_EQ(text, warm.substr(warm.size() + 6 - text.size()) + "three\n");
  EXPECT_EQ(sink.dropped_lines(), 0u);
}

TEST(LogTail, RotationCutsTheTailAndKeepsTheBound) {
  const TempDir dir;
  FileLogSinkOptions options;
  options.max_file_bytes = 100;
  options.max_backups = 50;
  std::string expected;
  {
    FileLogSink sink(dir.Join("log"), options);
    for (int i = 0; i < 100; ++i) {
      const std::string line = "line " + std::to_string(i) + "\n";
      sink.OnLogLine(line);
      expected += line;
      EXPECT_LE(ReadFile(dir.Join("log")).size(), 100u);
    }
  }
  std::string all;
  for (int i = 50; i >= 0; --i) {
    const std::string path = dir.Join("log") + (i == 0 ? "" : "." + std::to_string(i));
    if (oru_test::PathExists(path)) all += ReadFile(path);
  }
  EXPECT_EQ(all, expected);
}

TEST(LogTail, ADiskWithoutRoomForAClaimTakesWhatItCan) {
  const TempDir dir;
  const std::string path = dir.Join("log");
  const ChildResult child = RunInFork([&path] {
    oru_test::SmallDisk::LimitFiles(1000);
    FileLogSink sink(path, {});
    for (int i = 0; i < 100; ++i) sink.OnLogLine(std::string(19, 'x') + "\n");
    return sink.dropped_lines() == 50 && !sink.Flush() && sink.Flush() ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  EXPECT_EQ(ReadFile(path).size(), 1000u);
}

TEST(LogTail, WhatCannotBeMappedIsWritten) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.Join("fifo").c_str(), 0600), 0);
  const int reader = open(dir.Join("fifo").c_str(), O_RDONLY | O_NONBLOCK);
  FileLogSink sink(dir.Join("fifo"), {});
  sink.OnLogLine("one\n");
  EXPECT_TRUE(sink.Flush());
  char text[8] = {};
  EXPECT_EQ(read(reader, text, sizeof(text)), 4);
  EXPECT_STREQ(text, "one\n");
  close(reader);
}

// ---- What readers cut ----

uint64_t Cut(const std::string& content) {
  const TempDir dir;
  WriteFile(dir.Join("f"), content);
  const int fd = open(dir.Join("f").c_str(), O_RDONLY);
  const uint64_t size = tessik::shared::SizeWithoutLogTail(fd, content.size());
  close(fd);
  return size;
}

TEST(SizeWithoutLogTail, IsThatOfTheText) {
  EXPECT_EQ(Cut(""), 0u);
  EXPECT_EQ(Cut("text\n"), 5u);
  EXPECT_EQ(Cut("text\n" + Zeros(1)), 5u);
  EXPECT_EQ(Cut("text\n" + Zeros(200000)), 5u);
  EXPECT_EQ(Cut(std::string(9000, 'x') + "\n" + Zeros(4096)), 9001u);
  EXPECT_EQ(Cut(Zeros(65536)), 0u) << "reserved, never filled";
}

TEST(SizeWithoutLogTail, FilesOfOtherKindsAreLeftWhole) {
  EXPECT_EQ(Cut("\x7f"
                "ELF\x01\x02" +
                Zeros(64)),
            70u);
  EXPECT_EQ(Cut("name" + Zeros(508) + "text" + Zeros(1020)), 1536u);
  EXPECT_EQ(Cut("x" + Zeros(17 * 1024 * 1024)), 1u + 17 * 1024 * 1024) << "no tail is so long";
}

TEST(SizeWithoutLogTail, WhatCannotBeReadIsLeftWhole) {
  EXPECT_EQ(tessik::shared::SizeWithoutLogTail(-1, 77), 77u);
}

}  // namespace
