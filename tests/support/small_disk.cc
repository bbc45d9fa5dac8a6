#include "tests/support/small_disk.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace oru_test {
namespace {

constexpr size_t kMoreRoom = 100;

}  // namespace

SmallDisk::SmallDisk(size_t bytes) : bytes_(bytes) {
  // In a view of its own, so that nobody else sees the mount and it ends with the process.
  mounted_ = unshare(CLONE_NEWNS) == 0 &&
             mount("none", "/", "none", MS_REC | MS_PRIVATE, "") == 0 && Mount(bytes, 0);
  printf("small disk: %s\n", mounted_ ? "a file system" : "the limit of file sizes");
  EXPECT_TRUE(mounted_ || getenv("ORU_TEST_LONG") == nullptr) << "no file system was mounted";
}

SmallDisk::~SmallDisk() {
  if (mounted_) umount2(dir_.path().c_str(), MNT_DETACH);
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
    Mount(bytes_ * kMoreRoom, MS_REMOUNT);
  } else {
    LimitFiles(bytes_ * kMoreRoom);
  }
}

bool SmallDisk::Mount(size_t bytes, unsigned long flags) const {
  const std::string size = "size=" + std::to_string(bytes);
  return mount("tmpfs", dir_.path().c_str(), "tmpfs", flags, size.c_str()) == 0;
}

}  // namespace oru_test
