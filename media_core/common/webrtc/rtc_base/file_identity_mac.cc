#include <sys/stat.h>

#include "media_core/common/webrtc/rtc_base/file_identity.h"

namespace rtc {

bool GetFileIdentity(int fd, FileIdentity* identity) {
  struct stat info = {};
  if (fstat(fd, &info) != 0) {
    return false;
  }
  *identity = {static_cast<uint64_t>(info.st_dev), info.st_ino, info.st_nlink};
  return true;
}

}  // namespace rtc
