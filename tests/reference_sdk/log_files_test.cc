#include "examples/reference_sdk/log_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/files.h"

namespace reference_sdk {
namespace {

std::vector<std::string> Paths(const LogFiles& logs) {
  std::vector<std::string> paths;
  for (const LogFile& file : logs.files()) paths.push_back(file.path);
  return paths;
}

using Strings = std::vector<std::string>;

TEST(LogFiles, ListsRegularFilesOfAllFoldersInByteOrder) {
  const oru_test::TempDir dir;
  oru_test::MakeDirs(dir.Join("b/deep/er"));
  oru_test::WriteFile(dir.Join("b/deep/er/x.log"), "12345");
  oru_test::WriteFile(dir.Join("a.log"), "123");
  oru_test::WriteFile(dir.Join(".hidden"), "");
  LogFiles logs;
  LeftOutFiles left_out;
  ASSERT_TRUE(logs.Collect(dir.path(), &left_out));
  EXPECT_EQ(Paths(logs), (Strings{".hidden", "a.log", "b/deep/er/x.log"}));
  EXPECT_EQ(logs.total_bytes(), 8U);
}

TEST(LogFiles, MissingFolderFileAndEmptyTextAreNoLogDirectory) {
  const oru_test::TempDir dir;
  oru_test::WriteFile(dir.Join("file"), "");
  LogFiles logs;
  LeftOutFiles left_out;
  EXPECT_FALSE(logs.Collect("", &left_out));
  EXPECT_FALSE(logs.Collect(dir.Join("missing"), &left_out));
  EXPECT_FALSE(logs.Collect(dir.Join("file"), &left_out));
}

TEST(LogFiles, LinksPipesAndSocketsAreLeftOut) {
  const oru_test::TempDir dir;
  const oru_test::TempDir outside;
  oru_test::WriteFile(outside.Join("secret"), "s");
  ASSERT_EQ(symlink(outside.Join("secret").c_str(), dir.Join("link").c_str()), 0);
  ASSERT_EQ(symlink(outside.path().c_str(), dir.Join("folder_link").c_str()), 0);
  ASSERT_EQ(symlink(".", dir.Join("loop").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.Join("pipe").c_str(), 0600), 0);
  const ScopedFd socket_fd(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", dir.Join("socket").c_str());
  ASSERT_EQ(bind(socket_fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  oru_test::WriteFile(dir.Join("real.log"), "r");
  LogFiles logs;
  LeftOutFiles left_out;
  ASSERT_TRUE(logs.Collect(dir.path(), &left_out));
  EXPECT_EQ(Paths(logs), Strings{"real.log"});
}

TEST(LogFiles, TheDirectoryItselfMayBeALink) {
  const oru_test::TempDir dir;
  oru_test::MakeDirs(dir.Join("real"));
  oru_test::WriteFile(dir.Join("real/a.log"), "a");
  ASSERT_EQ(symlink("real", dir.Join("link").c_str()), 0);
  LogFiles logs;
  LeftOutFiles left_out;
  ASSERT_TRUE(logs.Collect(dir.Join("link"), &left_out));
  EXPECT_EQ(Paths(logs), Strings{"a.log"});
}

TEST(LogFiles, AFileThatVanishedDoesNotOpen) {
  const oru_test::TempDir dir;
  oru_test::WriteFile(dir.Join("a.log"), "a");
  LogFiles logs;
  LeftOutFiles left_out;
  ASSERT_TRUE(logs.Collect(dir.path(), &left_out));
  unlink(dir.Join("a.log").c_str());
  struct stat info {};
  EXPECT_EQ(logs.Open(logs.files()[0], &info), -1);
}

TEST(LogFiles, ALinkOrPipeThatTookAFilesPlaceDoesNotOpen) {
  const oru_test::TempDir dir;
  oru_test::MakeDirs(dir.Join("folder"));
  oru_test::WriteFile(dir.Join("folder/c.log"), "c");
  oru_test::WriteFile(dir.Join("a.log"), "a");
  oru_test::WriteFile(dir.Join("b.log"), "b");
  LogFiles logs;
  LeftOutFiles left_out;
  ASSERT_TRUE(logs.Collect(dir.path(), &left_out));
  unlink(dir.Join("a.log").c_str());
  unlink(dir.Join("b.log").c_str());
  rename(dir.Join("folder").c_str(), dir.Join("moved").c_str());
  ASSERT_EQ(symlink("/etc/passwd", dir.Join("a.log").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.Join("b.log").c_str(), 0600), 0);
  ASSERT_EQ(symlink("moved", dir.Join("folder").c_str()), 0);
  struct stat info {};
  for (const LogFile& file : logs.files()) EXPECT_EQ(logs.Open(file, &info), -1) << file.path;
}

TEST(LogFiles, PathsLongerThanTheSystemsLimitAreListedAndOpened) {
  const oru_test::TempDir dir;
  const std::string name(200, 'd');
  ScopedFd folder(open(dir.path().c_str(), O_RDONLY | O_DIRECTORY));
  for (int depth = 0; depth < 30; ++depth) {
    ASSERT_EQ(mkdirat(folder.get(), name.c_str(), 0700), 0);
    folder.Reset(openat(folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY));
  }
  const ScopedFd created(openat(folder.get(), "x.log", O_WRONLY | O_CREAT, 0600));
  ASSERT_TRUE(created.valid());
  LogFiles logs;
  LeftOutFiles left_out;
  ASSERT_TRUE(logs.Collect(dir.path(), &left_out));
  ASSERT_EQ(logs.files().size(), 1U);
  EXPECT_EQ(logs.files()[0].path.size(), 30 * 201 + 5U);
  struct stat info {};
  const ScopedFd opened(logs.Open(logs.files()[0], &info));
  EXPECT_TRUE(opened.valid());
}

}  // namespace
}  // namespace reference_sdk
