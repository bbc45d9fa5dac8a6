#include "media_core/biz_engine/crash_handler/report/report_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using oru_test::TempDir;

bool Replace(const std::string& path, const std::string& text) {
  return ReplaceFile(path.c_str(), text.data(), text.size());
}

TEST(ReportFileTest, WritesTheBytes) {
  const TempDir dir;
  const std::string text("a\0b\n", 4);
  EXPECT_TRUE(Replace(dir.Join("f.log"), text));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f.log")), text);
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{"f.log"});
}

TEST(ReportFileTest, ReplacesALongerFile) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("f"), "a long text");
  EXPECT_TRUE(Replace(dir.Join("f"), "b"));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f")), "b");
}

TEST(ReportFileTest, WritesAnEmptyFile) {
  const TempDir dir;
  EXPECT_TRUE(ReplaceFile(dir.Join("f").c_str(), nullptr, 0));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f")), "");
}

TEST(ReportFileTest, MissingDirectoryIsAFailure) {
  const TempDir dir;
  EXPECT_FALSE(Replace(dir.Join("no/f"), "b"));
  EXPECT_TRUE(oru_test::ListDir(dir.path()).empty());
}

TEST(ReportFileTest, DirectoryInThePlaceOfTheFileIsAFailureThatLeavesNothing) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("f/g"));
  EXPECT_FALSE(Replace(dir.Join("f"), "b"));
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{"f"});
}

TEST(ReportFileTest, NameTooLongIsAFailure) {
  const TempDir dir;
  EXPECT_FALSE(Replace(dir.Join(std::string(300, 'x')), "b"));
  EXPECT_FALSE(Replace(dir.Join(std::string(10000, 'x')), "b"));
  EXPECT_TRUE(oru_test::ListDir(dir.path()).empty());
}

TEST(ReportFileTest, TheLongestNameCanBeWritten) {
  const TempDir dir;
  const std::string name(255, 'x');
  EXPECT_TRUE(Replace(dir.Join(name), "b"));
  EXPECT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{name});
}

TEST(ReportFileTest, DirectoriesAreCreatedWithThoseAboveThem) {
  const TempDir dir;
  EXPECT_TRUE(CreateDirectories(dir.Join("a/b/c").c_str()));
  EXPECT_TRUE(CreateDirectories(dir.Join("a/b/c").c_str()));
  EXPECT_TRUE(CreateDirectories(dir.Join("d//e/").c_str()));
  EXPECT_TRUE(Replace(dir.Join("a/b/c/f"), ""));
  EXPECT_TRUE(Replace(dir.Join("d/e/f"), ""));
}

TEST(ReportFileTest, DirectoriesThatCannotBeCreatedAreAFailure) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("file"), "");
  EXPECT_TRUE(CreateDirectories(dir.Join("file").c_str())) << "something is there";
  EXPECT_FALSE(CreateDirectories(dir.Join("file/below").c_str()));
  EXPECT_FALSE(CreateDirectories(""));
  EXPECT_FALSE(CreateDirectories(dir.Join(std::string(300, 'x')).c_str()));
  EXPECT_FALSE(CreateDirectories(std::string(10000, 'x').c_str()));
}

TEST(ReportFileTest, NoRoomLeavesTheOldFileAndNoTemporaryOne) {
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

TEST(ReportFileTest, LimitOfFileSizesRaisesNoSignal) {
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

TEST(ReportFileTest, SignalThatWasBlockedAndPendingStaysSo) {
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

// Their names could be known beforehand once.
TEST(ReportFileTest, NamesThatOthersHaveTakenAreNoObstacle) {
  const TempDir dir;
  for (int i = 0; i < 100; ++i) {
    const std::string taken =
        "report." + std::to_string(getpid()) + "." + std::to_string(i) + ".tmp";
    oru_test::WriteFile(dir.Join(taken), "theirs");
  }
  EXPECT_TRUE(Replace(dir.Join("f"), "b"));
  EXPECT_EQ(oru_test::ReadFile(dir.Join("f")), "b");
  EXPECT_EQ(oru_test::ListDir(dir.path()).size(), 101U);
}

TEST(ReportFileTest, TemporaryNamesDifferAndTakeTheNameOnlyWhenWhole) {
  const TempDir dir;
  std::set<std::string> names;
  for (int i = 0; i < 20; ++i) {
    const std::string path = dir.Join("f");
    ReportFile file;
    ASSERT_TRUE(file.Open(path.c_str()));
    ASSERT_TRUE(file.Write("b", 1));
    ASSERT_EQ(oru_test::ListDir(dir.path()).size(), 1U);
    names.insert(oru_test::ListDir(dir.path()).front());
    ASSERT_TRUE(file.Commit());
    ASSERT_EQ(oru_test::ListDir(dir.path()), std::vector<std::string>{"f"});
    ASSERT_EQ(unlink(path.c_str()), 0);
  }
  EXPECT_EQ(names.size(), 20U);
}

TEST(ReportFileTest, FilesAndDirectoriesAreTheirOwnersAlone) {
  const TempDir dir;
  const mode_t mask = umask(0);
  EXPECT_TRUE(CreateDirectories(dir.Join("a/b").c_str()));
  EXPECT_TRUE(Replace(dir.Join("a/b/f"), "b"));
  umask(mask);
  const auto mode = [&dir](const char* name) {
    struct stat status = {};
    EXPECT_EQ(stat(dir.Join(name).c_str(), &status), 0);
    return status.st_mode & 0777U;
  };
  EXPECT_EQ(mode("a"), 0700U);
  EXPECT_EQ(mode("a/b"), 0700U);
  EXPECT_EQ(mode("a/b/f"), 0600U);
}

}  // namespace
}  // namespace CrashHandler
