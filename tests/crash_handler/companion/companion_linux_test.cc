// A companion that does not come to its end in time: the report gets its name from another thread.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "media_core/biz_engine/crash_handler/crash_companion.h"
#include "media_core/biz_engine/crash_handler/report/companion.h"
#include "tests/support/files.h"

namespace {

std::atomic<bool> sOtherNames{false};
std::atomic<bool> sOwnerIsThrough{false};
thread_local bool t_is_other = false;

// The other thread has no processor for a moment, unless its time comes to an end.
void HoldOther() {
  sOtherNames.store(true);
  for (int i = 0; i < 300 && !sOwnerIsThrough.load(); ++i) usleep(1000);
}

}  // namespace

// In the place of the C library's.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (t_is_other) HoldOther();
  return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace CrashHandler {
namespace {

TEST(CompanionTest, WhoLosesTheReportToAnotherThreadGoesOnWhenItHasItsName) {
  const oru_test::TempDir dir;
  static std::thread other;
  CrashLogLines lines;
  lines.source = &lines;
  lines.source_bytes = sizeof lines;
  lines.first = [](const void*) -> uint64_t { return 0; };
  lines.end = [](const void*) -> uint64_t { return 1; };
  lines.read = [](const void*, uint64_t, char*, size_t, size_t*) {
    other = std::thread([] {
      t_is_other = true;
      EXPECT_TRUE(CommitWithoutCompanion());
    });
    while (!sOtherNames.load()) usleep(1000);
    return false;
  };
  SetCrashLogLines(lines);
  WriteCrashCompanions();
  const std::string path = dir.Join("Crash_A_S_Signal_2024-03-05-07-08-09.log");
  ReportFile report;
  ASSERT_TRUE(report.Open(path.c_str()));
  EXPECT_TRUE(CommitWithCompanion(&report, path.c_str(), {}, {}, ReportWay::kOrdinary));
  EXPECT_EQ(0, access(path.c_str(), F_OK));
  sOwnerIsThrough.store(true);
  other.join();
  StopCrashCompanions();
  ForgetLogLines();
}

}  // namespace
}  // namespace CrashHandler
