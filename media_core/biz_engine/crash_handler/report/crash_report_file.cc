#include "media_core/biz_engine/crash_handler/report/crash_report_file.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"

namespace CrashHandler {
namespace {

constexpr mode_t kFileMode = 0644;
constexpr mode_t kDirectoryMode = 0777;
// Only names left behind by earlier processes stand in the way.
constexpr int kMaxNames = 100;

// Opens a new file "report.PID.N.tmp" in the directory of `path`: it is shorter than a report's
// name, so that any name the file system can hold can be written. Its name goes to `name`. -1 when
// that fails.
int CreateBeside(const char* path, char* name, size_t room) {
  const char* slash = strrchr(path, '/');
  const size_t directory = slash == nullptr ? 0 : static_cast<size_t>(slash - path) + 1;
  if (directory >= room) return -1;
  memcpy(name, path, directory);
  for (int i = 0; i < kMaxNames; ++i) {
    const size_t left = room - directory;
    const int length =
        snprintf(name + directory, left, "report.%d.%d.tmp", static_cast<int>(getpid()), i);
    if (length < 0 || static_cast<size_t>(length) >= left) return -1;
    const int fd = machine::OpenFile(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

// A write beyond the process's limit of file sizes raises SIGXFSZ, which would end the process in
// the place of the crash's own signal, or call the host. Within the scope it fails, as on a full
// disk.
class FileSizeSignalBlock {
 public:
  FileSizeSignalBlock() : pending_before_(IsPending()) {
    sigemptyset(&only_);
    sigaddset(&only_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &only_, &mask_);
  }
  ~FileSizeSignalBlock() {
    int signo = 0;
    if (!pending_before_ && IsPending()) sigwait(&only_, &signo);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }
  FileSizeSignalBlock(const FileSizeSignalBlock&) = delete;
  FileSizeSignalBlock& operator=(const FileSizeSignalBlock&) = delete;

 private:
  static bool IsPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
  }

  const bool pending_before_;
  sigset_t only_;
  sigset_t mask_;
};

bool WriteAll(int fd, const char* bytes, size_t count) {
  const FileSizeSignalBlock block;
  while (count > 0) {
    const ssize_t written = write(fd, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<size_t>(written);
  }
  return true;
}

}  // namespace

bool CreateDirectories(const char* path) {
  if (access(path, F_OK) == 0) return true;
  char part[PATH_MAX];
  const size_t length = strlen(path);
  if (length >= sizeof part) return false;
  memcpy(part, path, length + 1);
  for (size_t i = 1; i < length; ++i) {
    if (part[i] != '/') continue;
    part[i] = '\0';
    mkdir(part, kDirectoryMode);
    part[i] = '/';
  }
  return mkdir(path, kDirectoryMode) == 0 || errno == EEXIST;
}

bool ReplaceFile(const char* path, const void* bytes, size_t count) {
  const Piece all = {static_cast<const char*>(bytes), count};
  return ReplaceFileByPieces(path, &all, 1);
}

bool ReplaceFileByPieces(const char* path, const Piece* pieces, size_t piece_count) {
  char temporary[PATH_MAX];
  const int fd = CreateBeside(path, temporary, sizeof temporary);
  if (fd < 0) return false;
  const bool written = std::all_of(pieces, pieces + piece_count, [fd](const Piece& piece) {
    return WriteAll(fd, piece.bytes, piece.count);
  });
  // Some file systems tell only at the end that there was no room.
  const bool closed = close(fd) == 0 || errno == EINTR;
  if (written && closed && rename(temporary, path) == 0) return true;
  unlink(temporary);
  return false;
}

}  // namespace CrashHandler
