#include "media_core/common/webrtc/rtc_base/append_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace rtc {
namespace {

// Writes all of it; returns how much was written, errno telling why not more.
size_t WriteAll(int fd, const char* data, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t result = write(fd, data + done, size - done);
    if (result < 0 && errno == EINTR) {
      continue;
    }
    if (result <= 0) {
      break;
    }
    done += static_cast<size_t>(result);
  }
  return done;
}

// The numbers of the standard streams, when a program has closed them, are not for files: what is
// printed to such a stream would be written into the file.
int OpenBeyondStandardStreams(const char* path, int flags, mode_t mode) {
  const int fd = open(path, flags, mode);
  if (fd < 0 || fd > STDERR_FILENO) {
    return fd;
  }
  const int higher = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(fd);
  return higher;
}

// Whether the file's last byte ends a line; an empty file does, and one that cannot be read.
bool EndsWithNewline(int fd, uint64_t size) {
  char last = '\n';
  if (size > 0 && pread(fd, &last, 1, static_cast<off_t>(size - 1)) != 1) {
    return true;
  }
  return last == '\n';
}

}  // namespace

AppendFile::AppendFile(std::string path) : path_(std::move(path)) {}

AppendFile::~AppendFile() { Close(); }

bool AppendFile::Open(int flags, mode_t mode) {
  const int fd = OpenBeyondStandardStreams(path_.c_str(), flags | O_APPEND | O_CLOEXEC, mode);
  struct stat info = {};
  if (fd < 0 || fstat(fd, &info) != 0) {
    if (fd >= 0) {
      close(fd);
    }
    return false;
  }
  fd_ = fd;
  identity_ = {info.st_dev, info.st_ino};
  size_ = S_ISREG(info.st_mode) ? static_cast<uint64_t>(info.st_size) : 0;
  mid_record_ = !EndsWithNewline(fd_, size_);
  return true;
}

bool AppendFile::Reopen(int flags) {
  const Identity wanted = identity_;
  const bool mid_record = mid_record_;
  struct stat info = {};
  // To open a pipe might take for ever.
  if (stat(path_.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || !Open(flags, 0)) {
    return false;
  }
  if (!(identity_ == wanted)) {
    Close();
    identity_ = wanted;
    return false;
  }
  // Known, even if the file cannot be read.
  mid_record_ = mid_record_ || mid_record;
  return true;
}

void AppendFile::Close() {
  if (CheckOpen()) {
    close(fd_);
  }
  fd_ = -1;
}

bool AppendFile::CheckOpen() {
  struct stat info = {};
  if (fd_ >= 0 && (fstat(fd_, &info) != 0 || !(identity_ == Identity{info.st_dev, info.st_ino}))) {
    fd_ = -1;
  }
  is_removed_ = fd_ >= 0 && info.st_nlink == 0;
  return fd_ >= 0;
}

size_t AppendFile::Append(const char* data, size_t size) {
  if (mid_record_) {
    if (WriteAll(fd_, "\n", 1) != 1) {
      return 0;
    }
    mid_record_ = false;
    ++size_;
  }
  const size_t written = WriteAll(fd_, data, size);
  size_ += written;
  return written;
}

void AppendFile::TakeBack(size_t size) {
  const uint64_t end = size_ - size;
  struct stat info = {};
  // Not when others append to the file, too: what would be cut off might be theirs.
  const bool sole = fstat(fd_, &info) == 0 && static_cast<uint64_t>(info.st_size) == size_;
  if (sole && ftruncate(fd_, static_cast<off_t>(end)) == 0) {
    size_ = end;
  } else {
    mid_record_ = true;
  }
}

}  // namespace rtc
