#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "media_core/common/webrtc/rtc_base/file_identity.h"

namespace rtc {

bool GetFileIdentity(int fd, FileIdentity* identity) {
  // Who asks for the times makes the kernel renew them at the next write, which costs as much as
  // the write itself; fstat() asks for all.
  struct statx info = {};
  if (statx(fd, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_INO | STATX_NLINK, &info) == 0) {
    *identity = {makedev(info.stx_dev_major, info.stx_dev_minor), info.stx_ino, info.stx_nlink};
    return true;
  }
  // Kernels before 4.11, and sandboxes that know no statx.
  struct stat plain = {};
  if (fstat(fd, &plain) != 0) {
    return false;
  }
  *identity = {plain.st_dev, plain.st_ino, plain.st_nlink};
  return true;
}

}  // namespace rtc
