// A report for which the memory runs out: it is whole, without some threads, or there is none.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/plain_report.h"
#include "tests/crash_handler/support/no_memory.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace {

std::atomic<int> sWaiting{0};

__attribute__((noinline, disable_tail_calls)) void WaitDeepDown(int depth) {
  if (depth > 0) return WaitDeepDown(depth - 1);
  ++sWaiting;
  while (sWaiting > 0) pause();
}

}  // namespace

// What the filter finds.
extern "C" __attribute__((noinline, visibility("default"))) void OruRTCMemoryTestFrame() {
  WaitDeepDown(0);
}

namespace CrashHandler {
namespace {

using machine::ScratchMemory;

constexpr int kThreads = 40;
constexpr size_t kReserve = size_t{6} << 20;
constexpr size_t kMost = size_t{704} << 10;
constexpr size_t kStep = size_t{8} << 10;

// Recoded it is longer than all that stands before the threads.
std::string Latin1Info() { return std::string(50000, '\xe9') + "the end"; }
std::string RecodedInfo() {
  std::string text;
  for (int i = 0; i < 50000; ++i) text += "\xc3\xa9";
  return text + "the end";
}

void StartDeepThreads() {
  for (int i = 0; i < kThreads; ++i) {
    pthread_t thread;
    const auto wait = [](void*) -> void* {
      WaitDeepDown(60);
      return nullptr;
    };
    if (pthread_create(&thread, nullptr, wait, nullptr) != 0) _exit(1);
  }
  while (sWaiting < kThreads) usleep(1000);
}

// Writes a report with each of the amounts of memory; "dumps/AMOUNT/..." has it.
int WriteReports(const char* dump_dir, const std::string& extra_info, size_t least) {
  StartDeepThreads();
  PrepareCallStacks();
  // Room for as many threads is kept.
  TextOfAllThreads();
  machine::PrepareScratchReserve();
  PreparePlainReport(std::string(250, 'n').c_str());
  crash_test::UseUpAddressSpace();
  machine::OpenScratchReserve();
  void* frames[] = {nullptr, reinterpret_cast<char*>(&OruRTCMemoryTestFrame) + 1};
  PlainCrash crash;
  crash.dump_dir = dump_dir;
  crash.extra_info = extra_info.c_str();
  crash.frames = frames;
  crash.frame_count = 2;
  for (size_t left = least; left <= kMost; left += kStep) {
    const ScratchMemory used(kReserve - left);
    if (used.data() == nullptr) return 2;
    char version[20];
    snprintf(version, sizeof version, "%zu", left);
    crash.sdk_version = version;
    PlainPath path;
    WritePlainReport(crash, path);
  }
  return 0;
}

// What came of the amounts of memory.
struct Outcomes {
  int none = 0;
  int cut = 0;
  int complete = 0;
  size_t threads_of_cut = 0;  // in the one with the most

  void Add(const oru_test::CrashReportText& report) {
    if (report.thread_failures.empty()) {
      EXPECT_EQ(report.threads.size(), size_t{kThreads} + 1);
      ++complete;
      return;
    }
    EXPECT_EQ(report.thread_failures,
              std::vector<std::string>{"Fail to get information of all threads"});
    EXPECT_LE(report.threads.size(), size_t{kThreads});
    threads_of_cut = std::max(threads_of_cut, report.threads.size());
    ++cut;
  }
};

void ExpectWhole(const oru_test::CrashReportText& report, const std::string& info) {
  EXPECT_EQ(report.error, "");
  for (const auto& thread : report.threads) {
    EXPECT_FALSE(thread.frames.empty());
    for (const std::string& frame : thread.frames) {
      EXPECT_NE(frame.find(" + "), std::string::npos) << frame;
    }
  }
  EXPECT_GT(report.images.size(), 3U);
  EXPECT_TRUE(report.custom_info == info);
}

void ExpectWholeOrNone(const std::string& extra_info, const std::string& reported_info) {
  const oru_test::TempDir dir;
  const std::string dump_dir = dir.Join("dumps");
  const auto result =
      oru_test::RunInFork([&] { return WriteReports(dump_dir.c_str(), extra_info, 0); });
  ASSERT_EQ(result.exit_code, 0) << result.Ending();
  Outcomes outcomes;
  for (size_t left = 0; left <= kMost; left += kStep) {
    SCOPED_TRACE(left);
    const std::string folder = dump_dir + "/" + std::to_string(left);
    const auto files = oru_test::ListFilesRecursively(folder);
    if (files.empty()) {
      ++outcomes.none;
      continue;
    }
    ASSERT_EQ(files.size(), 1U);
    const auto report =
        oru_test::ParseCrashReport(oru_test::ReadFile(folder + "/" + files.front()));
    ExpectWhole(report, reported_info);
    outcomes.Add(report);
  }
  EXPECT_GT(outcomes.none, 0);
  EXPECT_GT(outcomes.cut, 0);
  EXPECT_GT(outcomes.threads_of_cut, 0U);
  EXPECT_GT(outcomes.complete, 0);
}

TEST(PlainReportMemoryTest, IsWholeOrNotThere) { ExpectWholeOrNone("the end", "the end"); }

TEST(PlainReportMemoryTest, WithWordsThatAreRecodedToo) {
  ExpectWholeOrNone(Latin1Info(), RecodedInfo());
}

TEST(PlainReportMemoryTest, TheHostsWordsNeedNone) {
  const oru_test::TempDir dir;
  const std::string dump_dir = dir.Join("dumps");
  const std::string long_info(2 * kReserve, 'i');
  const auto result =
      oru_test::RunInFork([&] { return WriteReports(dump_dir.c_str(), long_info, kMost); });
  ASSERT_EQ(result.exit_code, 0) << result.Ending();
  const auto files = oru_test::ListFilesRecursively(dump_dir);
  ASSERT_EQ(files.size(), 1U);
  const auto report = oru_test::ParseCrashReport(oru_test::ReadFile(dump_dir + "/" + files[0]));
  EXPECT_EQ(report.error, "");
  EXPECT_TRUE(report.custom_info == long_info);
}

}  // namespace
}  // namespace CrashHandler
