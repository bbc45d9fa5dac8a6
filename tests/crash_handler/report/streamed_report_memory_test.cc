// A report for which the memory runs out: it is whole or there is none.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/streamed_report.h"
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
constexpr size_t kReserve = machine::kScratchReserveBytes;
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
  crash_test::PrepareReserve();
  PrepareStreamedReport(std::string(250, 'n').c_str());
  CrashSettings settings;
  settings.dump_dir = dump_dir;
  settings.extra_info = extra_info;
  crash_test::UseUpAddressSpace();
  machine::OpenScratchReserve();
  void* frames[] = {nullptr, reinterpret_cast<char*>(&OruRTCMemoryTestFrame) + 1};
  CrashFacts crash;
  crash.frames = frames;
  crash.frame_count = 2;
  for (size_t left = least; left <= kMost; left += kStep) {
    const ScratchMemory used(kReserve - left);
    if (used.data() == nullptr) return 2;
    char version[20];
    snprintf(version, sizeof version, "%zu", left);
    settings.sdk_version = version;
    ReportPath path;
    WriteStreamedReport(crash, settings, path);
  }
  return 0;
}

enum class Outcome { kNone, kWithoutThreads, kComplete };

// What came of one amount.
Outcome OutcomeIn(const std::string& folder, const std::string& info) {
  const auto files = oru_test::ListFilesRecursively(folder);
  if (files.empty()) return Outcome::kNone;
  EXPECT_EQ(files.size(), 1U);
  const auto report = oru_test::ParseCrashReport(oru_test::ReadFile(folder + "/" + files.front()));
  EXPECT_EQ(report.error, "");
  for (const auto& thread : report.threads) {
    EXPECT_FALSE(thread.frames.empty());
    for (const std::string& frame : thread.frames) {
      EXPECT_NE(frame.find(" + "), std::string::npos) << frame;
    }
  }
  EXPECT_GT(report.images.size(), 3U);
  EXPECT_TRUE(report.custom_info == info);
  if (report.thread_failures.empty()) {
    EXPECT_EQ(report.threads.size(), size_t{kThreads} + 1);
    return Outcome::kComplete;
  }
  EXPECT_EQ(report.thread_failures,
            std::vector<std::string>{"Fail to get information of all threads"});
  return Outcome::kWithoutThreads;
}

void ExpectWholeOrNone(const std::string& extra_info, const std::string& reported_info) {
  const oru_test::TempDir dir;
  const std::string dump_dir = dir.Join("dumps");
  const auto result =
      oru_test::RunInFork([&] { return WriteReports(dump_dir.c_str(), extra_info, 0); });
  ASSERT_EQ(result.exit_code, 0) << result.Ending();
  std::map<Outcome, int> outcomes;
  for (size_t left = 0; left <= kMost; left += kStep) {
    SCOPED_TRACE(left);
    ++outcomes[OutcomeIn(dump_dir + "/" + std::to_string(left), reported_info)];
  }
  EXPECT_GT(outcomes[Outcome::kWithoutThreads], 0);
  EXPECT_GT(outcomes[Outcome::kComplete], 0);
}

TEST(StreamedReportMemoryTest, IsWholeOrNotThere) { ExpectWholeOrNone("the end", "the end"); }

TEST(StreamedReportMemoryTest, WithWordsThatAreRecodedToo) {
  ExpectWholeOrNone(Latin1Info(), RecodedInfo());
}

TEST(StreamedReportMemoryTest, TheHostsWordsNeedNone) {
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
