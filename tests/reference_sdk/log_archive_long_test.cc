#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "examples/reference_sdk/log_archive.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace reference_sdk {
namespace {

bool Pack(const std::string& logs_path, const std::string& archive) {
  LogFiles logs;
  const ScopedFd fd(open(archive.c_str(), O_RDWR | O_CREAT, 0600));
  uint64_t size = 0;
  LeftOutFiles left_out;
  return logs.Collect(logs_path, &left_out) &&
         PackLogs(logs, 0, fd.get(), &size, &left_out) == kStored;
}

oru_test::ChildResult RunLong(const std::vector<std::string>& argv) {
  oru_test::ChildOptions options;
  options.timeout_s = 300;
  return oru_test::RunChild(argv, options);
}

TEST(LogArchiveLong, AFileOfMoreThanFourGigabytesIsStored) {
  const oru_test::TempDir dir;
  oru_test::MakeDirs(dir.Join("logs"));
  const off_t size = (off_t{1} << 32) + 12345;
  const ScopedFd big(open(dir.Join("logs/big.log").c_str(), O_RDWR | O_CREAT, 0600));
  ASSERT_EQ(ftruncate(big.get(), size), 0);
  ASSERT_EQ(pwrite(big.get(), "end", 3, size - 3), 3);
  oru_test::WriteFile(dir.Join("logs/small.log"), "small");
  ASSERT_TRUE(Pack(dir.Join("logs"), dir.Join("out.zip")));
  const auto test = RunLong({"/usr/bin/unzip", "-tq", dir.Join("out.zip")});
  EXPECT_EQ(test.exit_code, 0) << test.out << test.err;
  const auto listing = RunLong({"/usr/bin/unzip", "-l", dir.Join("out.zip")});
  EXPECT_NE(listing.out.find(std::to_string(size)), std::string::npos) << listing.out;
  const auto tail =
      RunLong({"/bin/sh", "-c", "unzip -p '" + dir.Join("out.zip") + "' big.log | tail -c 3"});
  EXPECT_EQ(tail.out, "end");
}

TEST(LogArchiveLong, MoreEntriesThanThePlainFormatCountsAreStored) {
  const oru_test::TempDir dir;
  oru_test::MakeDirs(dir.Join("logs"));
  const int count = 70000;
  for (int i = 0; i < count; ++i) {
    const ScopedFd fd(
        open(dir.Join("logs/" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0600));
    ASSERT_TRUE(fd.valid());
  }
  ASSERT_TRUE(Pack(dir.Join("logs"), dir.Join("out.zip")));
  const auto listing = RunLong({"/usr/bin/zipinfo", "-h", dir.Join("out.zip")});
  EXPECT_NE(listing.out.find("number of entries: 70000"), std::string::npos) << listing.out;
  EXPECT_EQ(RunLong({"/usr/bin/unzip", "-tqq", dir.Join("out.zip")}).exit_code, 0);
}

}  // namespace
}  // namespace reference_sdk
