// Log and trace files in folders where others have been before.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/file_log_sink.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::PathExists;
using oru_test::ReadFile;
using oru_test::RunInFork;
using oru_test::TempDir;
using oru_test::WriteFile;
using rtc::FileLogSink;
using rtc::FileLogSinkOptions;

constexpr uid_t kStranger = 65534;

FileLogSinkOptions Unbuffered() {
  FileLogSinkOptions options;
  options.buffer_bytes = 0;
  return options;
}

mode_t ModeOf(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

bool CapturesInto(const std::string& path) {
  return RunInFork([&path] {
           rtc::tracing::SetupInternalTracer();
           const bool started = rtc::tracing::StartInternalCapture(path.c_str());
           rtc::tracing::ShutdownInternalTracer();
           return started ? 5 : 6;
         }).exit_code == 5;
}

// Only root can give things away.
class StrangersFiles : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root, to make files of another user";
  }
  static void GiveAway(const std::string& path) {
    ASSERT_EQ(lchown(path.c_str(), kStranger, kStranger), 0) << path;
  }
  const TempDir dir_;
};

TEST_F(StrangersFiles, ALinkOfAnothersIsNotLoggedInto) {
  WriteFile(dir_.Join("victim"), "precious\n");
  ASSERT_EQ(symlink(dir_.Join("victim").c_str(), dir_.Join("log").c_str()), 0);
  GiveAway(dir_.Join("log"));
  FileLogSink sink(dir_.Join("log"), Unbuffered());
  EXPECT_FALSE(sink.is_open());
  sink.OnLogLine("line\n");
  EXPECT_EQ(sink.dropped_lines(), 1u);
  EXPECT_EQ(ReadFile(dir_.Join("victim")), "precious\n");
}

TEST_F(StrangersFiles, ALinkOfAnothersIsNotTracedInto) {
  WriteFile(dir_.Join("victim"), "precious\n");
  ASSERT_EQ(symlink(dir_.Join("victim").c_str(), dir_.Join("trace").c_str()), 0);
  GiveAway(dir_.Join("trace"));
  EXPECT_FALSE(CapturesInto(dir_.Join("trace")));
  EXPECT_EQ(ReadFile(dir_.Join("victim")), "precious\n");
}

TEST_F(StrangersFiles, ALinkOfAnothersBehindAnOwnOneIsNotFollowed) {
  WriteFile(dir_.Join("victim"), "precious\n");
  ASSERT_EQ(symlink(dir_.Join("victim").c_str(), dir_.Join("theirs").c_str()), 0);
  ASSERT_EQ(symlink("theirs", dir_.Join("own").c_str()), 0);
  GiveAway(dir_.Join("theirs"));
  EXPECT_FALSE(CapturesInto(dir_.Join("own")));
  EXPECT_FALSE(FileLogSink(dir_.Join("own"), Unbuffered()).is_open());
}

TEST_F(StrangersFiles, AFileOfAnothersIsNotEmptied) {
  WriteFile(dir_.Join("trace"), "precious\n");
  GiveAway(dir_.Join("trace"));
  EXPECT_FALSE(CapturesInto(dir_.Join("trace")));
  EXPECT_EQ(ReadFile(dir_.Join("trace")), "precious\n");
}

TEST(OwnFiles, ASecondNameForAnotherFileIsNotEmptied) {
  const TempDir dir;
  WriteFile(dir.Join("victim"), "precious\n");
  ASSERT_EQ(link(dir.Join("victim").c_str(), dir.Join("trace").c_str()), 0);
  EXPECT_FALSE(CapturesInto(dir.Join("trace")));
  EXPECT_EQ(ReadFile(dir.Join("victim")), "precious\n");
}

TEST(OwnFiles, AnOwnLinkIsFollowed) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("elsewhere"));
  ASSERT_EQ(symlink("elsewhere/log", dir.Join("log").c_str()), 0);
  { FileLogSink(dir.Join("log"), Unbuffered()).OnLogLine("line\n"); }
  EXPECT_EQ(ReadFile(dir.Join("elsewhere/log")), "line\n");
  ASSERT_EQ(symlink(dir.Join("elsewhere/trace").c_str(), dir.Join("trace").c_str()), 0);
  EXPECT_TRUE(CapturesInto(dir.Join("trace")));
  EXPECT_NE(ReadFile(dir.Join("elsewhere/trace")), "");
}

TEST(OwnFiles, LinksInACircleAreNoFile) {
  const TempDir dir;
  ASSERT_EQ(symlink("b", dir.Join("a").c_str()), 0);
  ASSERT_EQ(symlink("a", dir.Join("b").c_str()), 0);
  EXPECT_FALSE(FileLogSink(dir.Join("a"), Unbuffered()).is_open());
}

TEST(OwnFiles, AFifoWithoutAReaderIsNoTraceFile) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.Join("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(CapturesInto(dir.Join("fifo")));
}

TEST(OwnFiles, AFifoWithAReaderIsOne) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.Join("fifo").c_str(), 0600), 0);
  const int reader = open(dir.Join("fifo").c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_TRUE(CapturesInto(dir.Join("fifo")));
  char text[4] = {};
  EXPECT_EQ(read(reader, text, 3), 3);
  EXPECT_STREQ(text, "{ \"");
  close(reader);
}

TEST(OwnFiles, AreReadableByTheirOwnerAlone) {
  const TempDir dir;
  const mode_t old_mask = umask(0);
  FileLogSink sink(dir.Join("log"), {});
  EXPECT_TRUE(CapturesInto(dir.Join("trace")));
  FileLogSinkOptions shared;
  shared.file_mode = 0664;
  FileLogSink shared_sink(dir.Join("shared"), shared);
  umask(old_mask);
  EXPECT_EQ(ModeOf(dir.Join("log")), 0600u);
  EXPECT_EQ(ModeOf(dir.Join("trace")), 0600u);
  EXPECT_EQ(ModeOf(dir.Join("shared")), 0664u);
}

// A folder in the backup's place.
TEST(OwnFiles, RotationThatCannotRenameKeepsTheBound) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("log.1/full"));
  FileLogSinkOptions options = Unbuffered();
  options.max_file_bytes = 10;
  FileLogSink sink(dir.Join("log"), options);
  for (const char* line : {"1234\n", "5678\n", "abcd\n"}) {
    sink.OnLogLine(line);
    EXPECT_LE(ReadFile(dir.Join("log")).size(), 10u);
  }
  EXPECT_EQ(ReadFile(dir.Join("log")), "abcd\n");
  EXPECT_TRUE(PathExists(dir.Join("log.1/full")));
}

std::string CleanLineOf(const std::string& line) {
  const TempDir dir;
  FileLogSinkOptions options = Unbuffered();
  options.clean_lines = true;
  { FileLogSink(dir.Join("log"), options).OnLogLine(line); }
  return ReadFile(dir.Join("log"));
}

TEST(CleanLines, TextIsLeftAsItIs) {
  const std::string text =
      "[I] tab\there, caf\xC3\xA9, \xE2\x82\xAC, \xF0\x9F\x98\x80, back\\slash\n";
  EXPECT_EQ(CleanLineOf(text), text);
}

TEST(CleanLines, NewlinesInsideForgeNoLine) {
  EXPECT_EQ(CleanLineOf("a\n[E] forged\r\nb\n"), "a\\n[E] forged\\r\\nb\n");
  EXPECT_EQ(CleanLineOf("a\n\n"), "a\\n\n");
}

TEST(CleanLines, WhatTerminalsObeyIsShown) {
  EXPECT_EQ(CleanLineOf("\x1b[2J\x07\x7f\n"), "\\x1b[2J\\x07\\x7f\n");
  EXPECT_EQ(CleanLineOf(std::string("nul \0.\n", 7)), "nul \\x00.\n");
  EXPECT_EQ(CleanLineOf("c1 \xC2\x9B.\n"), "c1 \\xc2\\x9b.\n");
  EXPECT_EQ(CleanLineOf("raw \x9B.\n"), "raw \\x9b.\n") << "not UTF-8";
  EXPECT_EQ(CleanLineOf("cut \xE2\x82\n"), "cut \\xe2\\x82\n");
}

TEST(CleanLines, WhatTurnsTextRoundIsShown) {
  EXPECT_EQ(CleanLineOf("\xE2\x80\xAE"
                        "exe.txt\n"),
            "\\xe2\\x80\\xae"
            "exe.txt\n");
  EXPECT_EQ(CleanLineOf("\xE2\x81\xA6.\xE2\x80\xA8.\xD8\x9C\n"),
            "\\xe2\\x81\\xa6.\\xe2\\x80\\xa8.\\xd8\\x9c\n");
}

TEST(CleanLines, OffByDefault) {
  const TempDir dir;
  { FileLogSink(dir.Join("log"), Unbuffered()).OnLogLine("a\n\x1b\n"); }
  EXPECT_EQ(ReadFile(dir.Join("log")), "a\n\x1b\n");
}

}  // namespace
