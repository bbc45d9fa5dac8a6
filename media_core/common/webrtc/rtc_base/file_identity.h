// Which file a descriptor stands for: the seam to the platform's cheapest way to ask.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_IDENTITY_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_IDENTITY_H_

#include <cstdint>

namespace rtc {

struct FileIdentity {
  uint64_t device = 0;
  uint64_t inode = 0;
  // How many names it has.
  uint64_t links = 0;

  bool IsSameFile(const FileIdentity& other) const {
    return device == other.device && inode == other.inode;
  }
};

// False when the descriptor is not open.
bool GetFileIdentity(int fd, FileIdentity* identity);

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_IDENTITY_H_
