#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace CrashHandler::machine {
namespace {

// Other threads that wait for descriptors take what is added, too.
constexpr rlim_t kFirstMore = 16;
constexpr rlim_t kLastMore = 1024;

int OpenWithMore(const rlimit& found, const char* path, int flags, mode_t mode) {
  const rlim_t room = found.rlim_max - std::min(found.rlim_cur, found.rlim_max);
  int file = -1;
  for (rlim_t more = kFirstMore; file < 0 && more <= kLastMore; more *= 2) {
    const rlimit raised{found.rlim_cur + std::min(more, room), found.rlim_max};
    if (setrlimit(RLIMIT_NOFILE, &raised) != 0) break;
    file = open(path, flags, mode);
    if (file < 0 && errno != EMFILE) break;
  }
  return file;
}

}  // namespace

int OpenFile(const char* path, int flags, mode_t mode) {
  int file = open(path, flags, mode);
  rlimit found;
  if (file >= 0 || errno != EMFILE || getrlimit(RLIMIT_NOFILE, &found) != 0) return file;
  file = OpenWithMore(found, path, flags, mode);
  const int error = errno;
  setrlimit(RLIMIT_NOFILE, &found);
  errno = error;
  return file;
}

bool ReadFileStart(const char* path, char* text, size_t room) {
  text[0] = '\0';
  const int file = OpenFile(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const ssize_t size = read(file, text, room - 1);
  close(file);
  text[size > 0 ? size : 0] = '\0';
  return size > 0;
}

}  // namespace CrashHandler::machine
