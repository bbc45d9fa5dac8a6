#include "media_core/biz_engine/crash_handler/report/crash_report_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using oru_test::TempDir;

bool Replace(const std::string& path, const std::string& text) {
  return ReplaceFile(path.c_str(), text.data(), text.size());
}

TEST(CrashReportFileTest, WritesTheBytes) {
  const TempDir dir;
  const std::string text("a\0b\n", 4);
  EXPECT_TRUE(Replace(dir.Join("f.log"), text));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f.log")), text);
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{"f.log"});
}

TEST(CrashReportFileTest, ReplacesALongerFile) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("f"), "a long text");
  EXPECT_TRUE(Replace(dir.Join("f"), "b"));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f")), "b");
}

TEST(CrashReportFileTest, WritesAnEmptyFile) {
  const TempDir dir;
  EXPECT_TRUE(ReplaceFile(dir.Join("f").c_str(), nullptr, 0));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f")), "");
}

TEST(CrashReportFileTest, MissingDirectoryIsAFailure) {
  const TempDir dir;
  EXPECT_FALSE(Replace(dir.Join("no/f"), "b"));
  EXPECT_TRUE(oru_test::ListDir(dir.path()).empty());
}

TEST(CrashReportFileTest, DirectoryInThePlaceOfTheFileIsAFailureThatLeavesNothing) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("f/g"));
  EXPECT_FALSE(Replace(dir.Join("f"), "b"));
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{"f"});
}

TEST(CrashReportFileTest, NameTooLongIsAFailure) {
  const TempDir dir;
  EXPECT_FALSE(Replace(dir.Join(std::string(300, 'x')), "b"));
  EXPECT_FALSE(Replace(dir.Join(std::string(10000, 'x')), "b"));
  EXPECT_TRUE(oru_test::ListDir(dir.path()).empty());
}

TEST(CrashReportFileTest, TheLongestNameCanBeWritten) {
  const TempDir dir;
  const std::string name(255, 'x');
  EXPECT_TRUE(Replace(dir.Join(name), "b"));
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{name});
}

TEST(CrashReportFileTest, DirectoriesAreCreatedWithThoseAboveThem) {
  const TempDir dir;
  EXPECT_TRUE(CreateDirectories(dir.Join("a/b/c").c_str()));
  EXPECT_TRUE(CreateDirectories(dir.Join("a/b/c").c_str()));
  EXPECT_TRUE(CreateDirectories(dir.Join("d//e/").c_str()));
  EXPECT_TRUE(Replace(dir.Join("a/b/c/f"), ""));
  EXPECT_TRUE(Replace(dir.Join("d/e/f"), ""));
}

TEST(CrashReportFileTest, DirectoriesThatCannotBeCreatedAreAFailure) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("file"), "");
  EXPECT_TRUE(CreateDirectories(dir.Join("file").c_str())) << "something is there";
  EXPECT_FALSE(CreateDirectories(dir.Join("file/below").c_str()));
  EXPECT_FALSE(CreateDirectories(""));
  EXPECT_FALSE(CreateDirectories(dir.Join(std::string(300, 'x')).c_str()));
  EXPECT_FALSE(CreateDirectories(std::string(10000, 'x').c_str()));
}

TEST(CrashReportFileTest, NoRoomLeavesTheOldFileAndNoTemporaryOne) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("f"), "old");
  const auto result = oru_test::RunInFork([&dir] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    return Replace(dir.Join("f"), std::string(5000, 'x')) ? 1 : 0;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{"f"});
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f")), "old");
}

int sLimitSignals = 0;

TEST(CrashReportFileTest, LimitOfFileSizesRaisesNoSignal) {
  const TempDir dir;
  const auto result = oru_test::RunInFork([&dir] {
    signal(SIGXFSZ, [](int) { ++sLimitSignals; });
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool replaced = Replace(dir.Join("f"), std::string(5000, 'x'));
    raise(SIGXFSZ);
    return replaced || sLimitSignals != 1 ? 1 : 0;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
  EXPECT_TRUE(oru_test::ListDir(dir.path()).empty());
}

TEST(CrashReportFileTest, SignalThatWasBlockedAndPendingStaysSo) {
  const TempDir dir;
  const auto result = oru_test::RunInFork([&dir] {
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, SIGXFSZ);
    sigprocmask(SIG_BLOCK, &only, nullptr);
    raise(SIGXFSZ);
    const bool replaced = Replace(dir.Join("f"), "b");
    sigset_t pending;
    sigpending(&pending);
    return replaced && sigismember(&pending, SIGXFSZ) == 1 ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(CrashReportFileTest, TemporaryFileOfAnEarlierProcessIsLeftAlone) {
  const TempDir dir;
  const std::string taken = "report." + std::to_string(getpid()) + ".0.tmp";
  oru_test::WriteFile(dir.Join(taken), "theirs");
  EXPECT_TRUE(Replace(dir.Join("f"), "b"));
  EXPECT_EQ(oru_test::ReadFile(dir.Join(taken)), "theirs");
  EXPECT_EQ(oru_test::ListDir(dir.path()).size(), 2U);
}

TEST(CrashReportFileTest, PermissionsAreThoseOfAnOrdinaryFile) {
  const TempDir dir;
  const mode_t mask = umask(022);
  EXPECT_TRUE(Replace(dir.Join("f"), "b"));
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(dir.Join("f").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

}  // namespace
}  // namespace CrashHandler
