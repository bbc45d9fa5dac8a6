#include "examples/reference_sdk/archive_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>

#include "examples/reference_sdk/log_files.h"
#include "tests/support/files.h"

namespace reference_sdk {
namespace {

TEST(ArchiveFile, RandomWritesAndPatchesGiveTheSameBytesAsAString) {
  const oru_test::TempDir dir;
  const ScopedFd fd(open(dir.Join("f").c_str(), O_RDWR | O_CREAT, 0600));
  ArchiveFile file(fd.get());
  std::string expected;
  std::mt19937 random(11);
  for (int i = 0; i < 400; ++i) {
    const std::string data(random() % 9000, static_cast<char>('a' + i % 26));
    const uint64_t position = i % 3 == 0 ? random() % (expected.size() + 1) : expected.size();
    ASSERT_TRUE(file.Seek(position, ZLIB_FILEFUNC_SEEK_SET));
    ASSERT_TRUE(file.Write(data.data(), data.size()));
    EXPECT_EQ(file.position(), position + data.size());
    if (expected.size() < position + data.size()) expected.resize(position + data.size());
    expected.replace(position, data.size(), data);
  }
  ASSERT_TRUE(file.Flush());
  EXPECT_EQ(file.size(), expected.size());
  EXPECT_TRUE(oru_test::ReadFile(dir.Join("f")) == expected);
}

TEST(ArchiveFile, SeeksFromAllOrigins) {
  const oru_test::TempDir dir;
  const ScopedFd fd(open(dir.Join("f").c_str(), O_RDWR | O_CREAT, 0600));
  ArchiveFile file(fd.get());
  ASSERT_TRUE(file.Write("0123456789", 10));
  ASSERT_TRUE(file.Seek(static_cast<uint64_t>(-4), ZLIB_FILEFUNC_SEEK_END));
  EXPECT_EQ(file.position(), 6U);
  ASSERT_TRUE(file.Seek(1, ZLIB_FILEFUNC_SEEK_CUR));
  EXPECT_EQ(file.position(), 7U);
  EXPECT_FALSE(file.Seek(static_cast<uint64_t>(-11), ZLIB_FILEFUNC_SEEK_END));
}

TEST(ArchiveFile, AFullDiskIsAnErrorThatSticks) {
  const ScopedFd fd(open("/dev/full", O_WRONLY));
  ArchiveFile file(fd.get());
  ASSERT_TRUE(file.Write("x", 1));  // Still in the buffer.
  EXPECT_FALSE(file.Flush());
  EXPECT_TRUE(file.failed());
  EXPECT_FALSE(file.Write("y", 1));
  EXPECT_FALSE(file.Flush());
}

}  // namespace
}  // namespace reference_sdk
