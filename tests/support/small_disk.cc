#include "tests/support/small_disk.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/support/platform.h"

namespace oru_test {
namespace {

constexpr size_t kMoreRoom = 100;

}  // namespace

SmallDisk::SmallDisk(size_t bytes) : bytes_(bytes) {
  mounted_ = MountSmallDisk(dir_.path(), bytes);
  printf("small disk: %s\n", mounted_ ? "a file system" : "the limit of file sizes");
  EXPECT_TRUE(mounted_ || getenv("ORU_TEST_LONG") == nullptr) << "no file system was mounted";
}

SmallDisk::~SmallDisk() {
  if (mounted_) UnmountSmallDisk(dir_.path());
}

void SmallDisk::Enter() const {
  if (!mounted_) LimitFiles(bytes_);
}

void SmallDisk::LimitFiles(size_t bytes) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit = {};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

void SmallDisk::MakeRoom() const {
  if (mounted_) {
    ResizeSmallDisk(dir_.path(), bytes_ * kMoreRoom);
  } else {
    LimitFiles(bytes_ * kMoreRoom);
  }
}

}  // namespace oru_test
