// A report and its companion where things go wrong between the two.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/crash_companion.h"
#include "media_core/biz_engine/crash_handler/report/companion.h"
#include "tests/support/files.h"

namespace {

std::atomic<bool> sOtherNames{false};
std::atomic<bool> sOwnerIsThrough{false};
thread_local bool t_is_other = false;
// The end of names that no file gets.
std::string sRefused;

bool IsRefused(const std::string& name) {
  return !sRefused.empty() && name.size() >= sRefused.size() &&
         name.compare(name.size() - sRefused.size(), sRefused.size(), sRefused) == 0;
}

// The other thread has no processor for a moment, unless its time comes to an end.
void HoldOther() {
  sOtherNames.store(true);
  for (int i = 0; i < 300 && !sOwnerIsThrough.load(); ++i) usleep(1000);
}

}  // namespace

// In the place of the C library's.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (t_is_other) HoldOther();
  if (IsRefused(to)) {
    errno = EIO;
    return -1;
  }
  return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace CrashHandler {
namespace {

constexpr char kName[] = "Crash_A_S_Signal_2024-03-05-07-08-09";

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
  const std::string path = dir.Join(std::string(kName) + ".log");
  ReportFile report;
  ASSERT_TRUE(report.Open(path.c_str()));
  EXPECT_TRUE(CommitWithCompanion(&report, path.c_str(), {}, {}, ReportWay::kOrdinary));
  EXPECT_EQ(0, access(path.c_str(), F_OK));
  sOwnerIsThrough.store(true);
  other.join();
  StopCrashCompanions();
  ForgetLogLines();
}

bool CommitReport(const oru_test::TempDir& dir) {
  const std::string path = dir.Join(std::string(kName) + ".log");
  WriteCrashCompanions();
  ReportFile report;
  EXPECT_TRUE(report.Open(path.c_str()));
  const bool named = CommitWithCompanion(&report, path.c_str(), {}, {}, ReportWay::kOrdinary);
  StopCrashCompanions();
  return named;
}

TEST(CompanionTest, AReportThatDoesNotGetItsNameLeavesNoCompanion) {
  const oru_test::TempDir dir;
  sRefused = ".log";
  EXPECT_FALSE(CommitReport(dir));
  sRefused.clear();
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir.path()).empty());
}

TEST(CompanionTest, ACompanionThatDoesNotGetItsNameCostsNoReport) {
  const oru_test::TempDir dir;
  sRefused = ".json";
  EXPECT_TRUE(CommitReport(dir));
  sRefused.clear();
  EXPECT_EQ(std::vector<std::string>{std::string(kName) + ".log"},
            oru_test::ListFilesRecursively(dir.path()));
}

TEST(CompanionTest, AReportIsRemovedWithItsCompanion) {
  const oru_test::TempDir dir;
  ASSERT_TRUE(CommitReport(dir));
  EXPECT_EQ(2U, oru_test::ListFilesRecursively(dir.path()).size());
  WriteCrashCompanions();
  RemoveWithCompanion(dir.Join(std::string(kName) + ".log").c_str());
  StopCrashCompanions();
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir.path()).empty());
}

}  // namespace
}  // namespace CrashHandler
