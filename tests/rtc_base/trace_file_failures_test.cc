// The tracer on a full disk, with a descriptor that others closed, in a folder that was removed:
// the program goes on, and the file is whole but for what it says itself.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/rtc_base/trace_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/small_disk.h"

namespace {

using oru_test::ChildResult;
using oru_test::DescriptorOf;
using oru_test::JsonError;
using oru_test::ReadFile;
using oru_test::ReadTrace;
using oru_test::RunInFork;
using oru_test::SmallDisk;
using oru_test::TempDir;
using oru_test::TraceText;

constexpr size_t kDiskBytes = 128 * 1024;
constexpr uint64_t kPerThread = 2000;

void Emit(uint64_t number) { ORU_TRACE_EVENT_INSTANT1("test", "event", "number", number); }

// More than the small disk takes, by several threads.
void EmitMuch() {
  std::vector<std::thread> threads;
  for (uint64_t t = 0; t < 3; ++t) {
    threads.emplace_back([t] {
      for (uint64_t i = 0; i < kPerThread; ++i) Emit(t * kPerThread + i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

size_t FileSize(const std::string& path) {
  struct stat info = {};
  return stat(path.c_str(), &info) == 0 ? static_cast<size_t>(info.st_size) : 0;
}

bool WaitFor(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000; ++i) {
    if (condition()) return true;
    usleep(10000);
  }
  return false;
}

bool IsAlmostFull(const std::string& path) {
  constexpr size_t kPage = 4096;
  return FileSize(path) > kDiskBytes - kPage;
}

// Its times have the same number of digits always.
class FixedClock : public rtc::ClockInterface {
 public:
  int64_t TimeNanos() const override { return 1234567; }
};

// Where a capture writes: a file of the tracer's, or a stream of the caller's.
class TraceFileFailures : public testing::TestWithParam<bool> {
 protected:
  // These are for the child.
  void Start(const std::string& path) {
    rtc::tracing::SetupInternalTracer();
    if (!GetParam()) {
      if (!rtc::tracing::StartInternalCapture(path.c_str())) _exit(101);
      return;
    }
    file_ = fopen(path.c_str(), "w");
    if (file_ == nullptr) _exit(102);
    rtc::tracing::StartInternalCaptureToFile(file_);
  }
  void Stop() {
    rtc::tracing::StopInternalCapture();
    rtc::tracing::ShutdownInternalTracer();
    if (file_ != nullptr) fclose(file_);
  }

 private:
  FILE* file_ = nullptr;
};

TEST_P(TraceFileFailures, ADiskThatRunsFullLeavesWholeLinesAndNoEnd) {
  const SmallDisk disk(kDiskBytes);
  const std::string path = disk.Join("t");
  const ChildResult child = RunInFork([&] {
    disk.Enter();
    Start(path);
    EmitMuch();
    Stop();
    return 0;
  });
  ASSERT_EQ(child.exit_code, 0) << child.Ending();
  const std::string text = ReadFile(path);
  EXPECT_TRUE(IsAlmostFull(path)) << text.size();
  const TraceText trace = ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_EQ(trace.cut, "");
  EXPECT_FALSE(trace.ended);
  EXPECT_EQ(trace.Lost(), 0u) << "there was no room to tell";
  EXPECT_GT(trace.events.size(), 1000u);
}

TEST_P(TraceFileFailures, WhenThereIsRoomAgainTheDocumentGoesOnAndTellsTheLosses) {
  const SmallDisk disk(kDiskBytes);
  const std::string path = disk.Join("t");
  const ChildResult child = RunInFork([&] {
    disk.Enter();
    Start(path);
    EmitMuch();
    if (!WaitFor([&] { return IsAlmostFull(path); })) return 1;
    disk.MakeRoom();
    for (uint64_t i = 0; i < 100; ++i) Emit(3 * kPerThread + i);
    Stop();
    return 0;
  });
  ASSERT_EQ(child.exit_code, 0) << child.Ending();
  const std::string text = ReadFile(path);
  const TraceText trace = ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_TRUE(trace.ended);
  EXPECT_GT(trace.Lost(), 0u);
  EXPECT_EQ(trace.Others().size() + trace.Lost(), 3 * kPerThread + 100);
  EXPECT_EQ(trace.Others().back().Number("number"), 3 * kPerThread + 99);
  EXPECT_EQ(JsonError(path), "");
}

// Exact to the byte: wherever the room ends, the file does at a line.
TEST_P(TraceFileFailures, WhereverTheRoomEndsTheFileEndsAtALine) {
  const TempDir dir;
  const ChildResult child = RunInFork([&] {
    FixedClock clock;
    rtc::SetClockForTesting(&clock);
    size_t lines = 0;
    bool ended = false;
    for (size_t room = 0; room < 600; ++room) {
      SmallDisk::LimitFiles(room);
      const std::string path = dir.Join(std::to_string(room));
      Start(path);
      Emit(1);
      Emit(2);
      Stop();
      const std::string text = ReadFile(path);
      const TraceText trace = ReadTrace(text);
      if (!trace.error.empty() || !trace.cut.empty() || trace.Lost() != 0) return 1;
      if (trace.ended && trace.events.size() != 4) return 2;
      const size_t before = lines;
      lines = oru_test::SplitLines(text).size();
      if (lines < before || lines > before + 1) return 3;
      ended = trace.ended;
      unlink(path.c_str());
    }
    return ended ? 0 : 4;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.err;
}

TEST_P(TraceFileFailures, ADiskThatTakesNothingIsSurvived) {
  const ChildResult child = RunInFork([&] {
    Start("/dev/full");
    EmitMuch();
    Stop();
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST_P(TraceFileFailures, ARemovedFolderIsSurvived) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("folder"));
  const std::string path = dir.Join("folder/t");
  const ChildResult child = RunInFork([&] {
    Start(path);
    Emit(1);
    oru_test::RemoveAll(dir.Join("folder"));
    EmitMuch();
    Stop();
    return oru_test::PathExists(dir.Join("folder")) ? 1 : 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST_P(TraceFileFailures, APipeWhoseReaderIsGoneIsSurvived) {
  const TempDir dir;
  const std::string path = dir.Join("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const ChildResult child = RunInFork([&] {
    signal(SIGPIPE, SIG_IGN);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    Start(path);
    Emit(1);
    close(reader);
    EmitMuch();
    Stop();
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

// A reader that does not read holds up the writer, and nobody else.
TEST_P(TraceFileFailures, AStuckPipeHoldsUpNoEmitter) {
  const TempDir dir;
  const std::string path = dir.Join("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const ChildResult child = RunInFork([&] {
    signal(SIGPIPE, SIG_IGN);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    Start(path);
    for (int i = 0; i < 20; ++i) EmitMuch();
    close(reader);
    Stop();
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

INSTANTIATE_TEST_SUITE_P(On, TraceFileFailures, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& param) {
                           return std::string(param.param ? "CallersStream" : "OwnFile");
                         });

TEST(TraceFile, AClosedDescriptorIsOpenedAgain) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(path.c_str()));
  close(DescriptorOf(path));
  Emit(1);
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  const std::string text = ReadFile(path);
  const TraceText trace = ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_TRUE(trace.ended);
  EXPECT_EQ(trace.events.size(), 3u);
}

TEST(TraceFile, ADescriptorTakenByAnotherFileIsLeftAlone) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(path.c_str()));
  const int fd = DescriptorOf(path);
  ASSERT_GE(fd, 0);
  const int other = open(dir.Join("other").c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(dup2(other, fd), fd);
  Emit(1);
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_EQ(ReadFile(dir.Join("other")), "");
  EXPECT_NE(fcntl(fd, F_GETFD), -1) << "closed what was not its own";
  EXPECT_TRUE(ReadTrace(ReadFile(path)).ended);
  close(fd);
  close(other);
}

// Nothing of a document that another file took the place of is written into that one.
TEST(TraceFile, AFileThatTookItsPlaceIsLeftAlone) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(path.c_str()));
  const int fd = DescriptorOf(path);
  ASSERT_EQ(rename(path.c_str(), dir.Join("renamed").c_str()), 0);
  oru_test::WriteFile(path, "another\n");
  close(fd);
  Emit(1);
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_EQ(ReadFile(path), "another\n");
}

TEST(TraceFile, ACallersTextBeforeAndBehindTheDocumentStays) {
  const TempDir dir;
  const ChildResult child = RunInFork([&] {
    SmallDisk::LimitFiles(200);
    FILE* const file = fopen(dir.Join("t").c_str(), "w");
    fputs("before\n", file);
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::StartInternalCaptureToFile(file);
    Emit(1);
    Emit(2);
    rtc::tracing::StopInternalCapture();
    rtc::tracing::ShutdownInternalTracer();
    SmallDisk::LimitFiles(1000);
    fputs("behind\n", file);
    return fclose(file) == 0 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  const std::vector<std::string> lines = oru_test::SplitLines(ReadFile(dir.Join("t")));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], "before");
  EXPECT_EQ(lines[1], "{ \"traceEvents\": [");
  EXPECT_NE(lines[2].find("EventLogger::Start"), std::string::npos);
  EXPECT_EQ(lines[3], "behind");
}

bool IsWritten(const std::string& path, const std::string& text) {
  return WaitFor([&] { return ReadFile(path).find(text) != std::string::npos; });
}

// It has no path by which it could be opened again.
TEST(TraceFile, ACallersStreamWhoseDescriptorIsClosedGetsNothingMore) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const ChildResult child = RunInFork([&] {
    FILE* const file = fopen(path.c_str(), "w");
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::StartInternalCaptureToFile(file);
    Emit(4711);
    if (!IsWritten(path, "4711")) return 1;
    close(fileno(file));
    EmitMuch();
    rtc::tracing::StopInternalCapture();
    rtc::tracing::ShutdownInternalTracer();
    return fclose(file) == EOF ? 0 : 2;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  const std::string text = ReadFile(path);
  const TraceText trace = ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_EQ(trace.cut, "");
  EXPECT_FALSE(trace.ended);
  EXPECT_EQ(trace.events.size(), 2u);
}

TEST(TraceFile, ACallersStreamWhoseDescriptorIsBackGoesOnAndTellsTheLosses) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const ChildResult child = RunInFork([&] {
    FILE* const file = fopen(path.c_str(), "w");
    const int keep = dup(fileno(file));
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::StartInternalCaptureToFile(file);
    Emit(4711);
    if (!IsWritten(path, "4711")) return 1;
    close(fileno(file));
    EmitMuch();
    // Time for two passes of the writer; without one, nothing is lost.
    usleep(250000);
    dup2(keep, fileno(file));
    Emit(4712);
    rtc::tracing::StopInternalCapture();
    rtc::tracing::ShutdownInternalTracer();
    return fclose(file) == 0 ? 0 : 2;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  const std::string text = ReadFile(path);
  const TraceText trace = ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_TRUE(trace.ended);
  EXPECT_EQ(trace.Others().size() + trace.Lost(), 3 * kPerThread + 2);
  EXPECT_EQ(JsonError(path), "");
}

// Behind a rewound document stands an older one: nothing of it is cut off.
TEST(TraceFile, ACallersStreamInTheMiddleOfAFileIsNotCut) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const std::string old(1000, 'o');
  const ChildResult child = RunInFork([&] {
    oru_test::WriteFile(path, old);
    SmallDisk::LimitFiles(150);
    FILE* const file = fopen(path.c_str(), "r+");
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::StartInternalCaptureToFile(file);
    Emit(1);
    rtc::tracing::StopInternalCapture();
    rtc::tracing::ShutdownInternalTracer();
    return fclose(file) == 0 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  const std::string text = ReadFile(path);
  EXPECT_EQ(text.size(), 1000u);
  EXPECT_EQ(text.substr(150), old.substr(150));
}

}  // namespace
