#include "media_core/biz_engine/crash_handler/report/report_place.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using oru_test::TempDir;

constexpr uid_t kAnotherUser = 65534;
constexpr char kFileName[] = "/Crash_A_S_Signal_2024-03-05-07-08-09.log";

class ReportPlaceTest : public testing::Test {
 protected:
  ReportPlace Make() {
    ReportName name = {dump_dir_.c_str(), version_.c_str(),     "A", "S",
                       "Signal",          {2024, 3, 5, 7, 8, 9}};
    machine::TextBuffer path;
    const ReportPlace place = MakeReportPlace(&name, default_dir_.c_str(), &path);
    path_.assign(path.data(), path.size());
    header_dir_ = name.dump_dir;
    return place;
  }

  TempDir dir_;
  std::string dump_dir_ = dir_.Join("dumps");
  std::string default_dir_ = dir_.Join("default/");
  std::string version_ = "1.0";
  std::string path_;
  std::string header_dir_;
};

TEST_F(ReportPlaceTest, TheVersionsDirectoryIsMadeForItsOwnerAlone) {
  const mode_t before = umask(0);
  EXPECT_EQ(Make(), ReportPlace::kAsked);
  umask(before);
  EXPECT_EQ(path_, dump_dir_ + "/1.0" + kFileName);
  for (const std::string& made : {dump_dir_, dump_dir_ + "/1.0"}) {
    struct stat status = {};
    ASSERT_EQ(stat(made.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U) << made;
  }
}

TEST_F(ReportPlaceTest, ALinkInItsPlaceIsNotUsed) {
  oru_test::MakeDirs(dump_dir_);
  oru_test::MakeDirs(dir_.Join("target"));
  ASSERT_EQ(symlink("../target", (dump_dir_ + "/1.0").c_str()), 0);
  EXPECT_EQ(Make(), ReportPlace::kDefault);
  EXPECT_EQ(path_, default_dir_ + "1.0" + kFileName);
  EXPECT_EQ(header_dir_, default_dir_);
}

TEST_F(ReportPlaceTest, ADanglingLinkInItsPlaceIsNotUsed) {
  oru_test::MakeDirs(dump_dir_);
  ASSERT_EQ(symlink("nowhere", (dump_dir_ + "/1.0").c_str()), 0);
  EXPECT_EQ(Make(), ReportPlace::kDefault);
  EXPECT_FALSE(oru_test::PathExists(dump_dir_ + "/nowhere"));
}

TEST_F(ReportPlaceTest, AnotherUsersDirectoryIsNotUsed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
  oru_test::MakeDirs(dump_dir_ + "/1.0");
  ASSERT_EQ(chown((dump_dir_ + "/1.0").c_str(), kAnotherUser, kAnotherUser), 0);
  EXPECT_EQ(Make(), ReportPlace::kDefault);
  EXPECT_EQ(path_, default_dir_ + "1.0" + kFileName);
}

TEST_F(ReportPlaceTest, WhereTheDefaultIsNoBetterThereIsNoPlace) {
  oru_test::MakeDirs(dump_dir_);
  oru_test::MakeDirs(default_dir_);
  ASSERT_EQ(symlink("nowhere", (dump_dir_ + "/1.0").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", (default_dir_ + "1.0").c_str()), 0);
  EXPECT_EQ(Make(), ReportPlace::kNone);
}

TEST_F(ReportPlaceTest, TheDumpDirectoryItselfMayBeALink) {
  oru_test::MakeDirs(dir_.Join("target"));
  ASSERT_EQ(symlink("target", dump_dir_.c_str()), 0);
  EXPECT_EQ(Make(), ReportPlace::kAsked);
  version_ = "";
  EXPECT_EQ(Make(), ReportPlace::kAsked);
  EXPECT_EQ(path_, dump_dir_ + kFileName);
}

}  // namespace
}  // namespace CrashHandler
