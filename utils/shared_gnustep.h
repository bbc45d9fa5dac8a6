// Where GNUstep can be used. Not for other users.
#ifndef UTILS_SHARED_GNUSTEP_H_
#define UTILS_SHARED_GNUSTEP_H_

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "utils/shared_utf8.h"

namespace tessik::shared {

// True for a file that cannot be read. Without the heap: at installation there may be little left.
inline bool IsUtf8File(const char* path) {
  constexpr size_t kLongestSequence = 4;
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return true;
  char bytes[4096];
  size_t held = 0;
  bool is_utf8 = true;
  for (bool at_end = false; is_utf8 && !at_end;) {
    const ssize_t count = read(fd, bytes + held, sizeof bytes - held);
    if (count < 0 && errno == EINTR) continue;
    at_end = count <= 0;
    if (!at_end) held += static_cast<size_t>(count);
    size_t at = 0;
    while (is_utf8 && at < held && (at_end || held - at >= kLongestSequence)) {
      const size_t length = Utf8SequenceLength(bytes + at, held - at);
      is_utf8 = length != 0;
      at += length;
    }
    held -= at;
    memmove(bytes, bytes + at, held);
  }
  close(fd);
  return is_utf8;
}

// GNUstep takes the arguments and the environment that the process began with for UTF-8, unless the
// variable names another encoding. Where they are not, its first look at the process raises, and
// the next one ends the process: it must not be asked at all. For start-up.
inline bool IsGnustepUsable() {
  return std::getenv("GNUSTEP_STRING_ENCODING") != nullptr ||
         (IsUtf8File("/proc/self/cmdline") && IsUtf8File("/proc/self/environ"));
}

}  // namespace tessik::shared

#endif  // UTILS_SHARED_GNUSTEP_H_
