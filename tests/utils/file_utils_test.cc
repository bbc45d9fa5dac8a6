#include "utils/file_utils.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/files.h"

namespace {

namespace utils = tessik::utils;

class Paths : public testing::Test {
 protected:
  void SetUp() override { oru_test::WriteFile(file_, "x"); }
  oru_test::TempDir dir_;
  const std::string file_ = dir_.Join("file");
};

TEST_F(Paths, WritableRegularFileCountsAsAFolder) {
  EXPECT_TRUE(utils::IsDirExists(file_));
  EXPECT_TRUE(utils::DirExistsOrCreat(file_));
}
TEST_F(Paths, FolderExists) { EXPECT_TRUE(utils::IsDirExists(dir_.path())); }
TEST_F(Paths, MissingPathDoesNotExist) {
  EXPECT_FALSE(utils::IsDirExists(dir_.Join("none")));
  EXPECT_FALSE(utils::isFileExist(dir_.Join("none")));
  EXPECT_FALSE(utils::IsDirExists(""));
}
TEST_F(Paths, FolderThatCannotBeCreated) {
  // A file system where nobody may create anything.
  EXPECT_FALSE(utils::IsDirExists("/proc/self/none"));
  EXPECT_FALSE(utils::DirExistsOrCreat("/proc/self/none"));
}
TEST_F(Paths, CreatesOneLevel) {
  EXPECT_TRUE(utils::DirExistsOrCreat(dir_.Join("one")));
  EXPECT_TRUE(utils::isFileExist(dir_.Join("one")));
  EXPECT_FALSE(utils::DirExistsOrCreat(dir_.Join("two/levels")));
  EXPECT_FALSE(utils::isFileExist(dir_.Join("two")));
}
TEST_F(Paths, CreatedFolderHasTheModeUnderTheMask) {
  const mode_t mask = umask(027);
  EXPECT_TRUE(utils::DirExistsOrCreat(dir_.Join("one")));
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(0, stat(dir_.Join("one").c_str(), &status));
  EXPECT_EQ(0750U, status.st_mode & 07777);
}
TEST_F(Paths, ExistenceFollowsLinks) {
  EXPECT_TRUE(utils::isFileExist(file_));
  EXPECT_TRUE(utils::isFileExist(dir_.path()));
  ASSERT_EQ(0, symlink("nowhere", dir_.Join("broken").c_str()));
  EXPECT_FALSE(utils::isFileExist(dir_.Join("broken")));
}

}  // namespace
