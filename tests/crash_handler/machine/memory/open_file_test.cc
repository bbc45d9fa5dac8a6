#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler::machine {
namespace {

constexpr rlim_t kFew = 30;

// In a process of its own: all descriptors below the limit are taken.
oru_test::ChildResult RunWithoutDescriptors(rlim_t hard_limit, const std::function<int()>& body) {
  return oru_test::RunInFork([&] {
    const rlimit limit{kFew, hard_limit};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 90;
    while (dup(STDERR_FILENO) >= 0) {
    }
    return body();
  });
}

bool LimitIs(rlim_t soft, rlim_t hard) {
  rlimit now{};
  return getrlimit(RLIMIT_NOFILE, &now) == 0 && now.rlim_cur == soft && now.rlim_max == hard;
}

TEST(OpenFileTest, OpensAsOpenDoes) {
  const oru_test::TempDir dir;
  const mode_t mask = umask(022);
  const int file = OpenFile(dir.Join("f").c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
  umask(mask);
  EXPECT_GE(file, 0);
  close(file);
  struct stat status = {};
  ASSERT_EQ(stat(dir.Join("f").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0644U);
  errno = 0;
  EXPECT_EQ(OpenFile(dir.Join("missing").c_str(), O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST(OpenFileTest, OpensAtTheLimitWhichStaysAsItWas) {
  const auto result = RunWithoutDescriptors(kFew + 1, [] {
    const int file = OpenFile("/dev/null", O_RDONLY);
    return file == static_cast<int>(kFew) && LimitIs(kFew, kFew + 1) ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(OpenFileTest, FailureAtTheLimitIsTheFilesOwn) {
  const auto result = RunWithoutDescriptors(kFew + 10, [] {
    const bool opened = OpenFile("/missing", O_RDONLY) >= 0;
    return !opened && errno == ENOENT && LimitIs(kFew, kFew + 10) ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(OpenFileTest, FailsAtALimitThatCannotBeRaised) {
  const auto result = RunWithoutDescriptors(kFew, [] {
    const bool opened = OpenFile("/dev/null", O_RDONLY) >= 0;
    return !opened && errno == EMFILE && LimitIs(kFew, kFew) ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

}  // namespace
}  // namespace CrashHandler::machine
