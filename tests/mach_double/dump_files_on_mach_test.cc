#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "media_core/biz_engine/crash_handler/tools/dump_files.h"

namespace CrashHandler::dumps {
namespace {

TEST(DumpFilesOnMach, TheTimeOfAChangeIsInMilliseconds) {
  struct stat info = {};
  info.st_mtim.tv_sec = 1700000000;
  info.st_mtim.tv_nsec = 123999999;
  EXPECT_EQ(1700000000123, ChangedMs(info));
}

TEST(DumpFilesOnMach, AFileFromBeforeTheEpochToo) {
  struct stat info = {};
  info.st_mtim.tv_sec = -1;
  EXPECT_EQ(-1000, ChangedMs(info));
}

}  // namespace
}  // namespace CrashHandler::dumps
