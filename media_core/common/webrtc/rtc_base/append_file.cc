#include "media_core/common/webrtc/rtc_base/append_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <utility>

#include "utils/shared_log_tail.h"

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

// Whether links of that user may be followed: nobody else can have set them as a trap.
bool IsTrusted(uid_t owner) { return owner == geteuid() || owner == 0; }

// Where the link leads, if it may be followed, else "".
std::string TargetOfTrustedLink(const std::string& path) {
  struct stat info = {};
  char target[PATH_MAX];
  if (lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode) || !IsTrusted(info.st_uid)) {
    return "";
  }
  const ssize_t length = readlink(path.c_str(), target, sizeof(target));
  if (length <= 0 || static_cast<size_t>(length) == sizeof(target)) {
    return "";
  }
  const std::string text(target, static_cast<size_t>(length));
  // Behind the last slash; a path without one has no folder part.
  return text[0] == '/' ? text : path.substr(0, path.rfind('/') + 1) + text;
}

int OpenThroughTrustedLinks(std::string path, int flags, mode_t mode) {
  constexpr int kMaxLinks = 8;
  for (int links = 0; links <= kMaxLinks; ++links) {
    // Without waiting: a pipe may have no reader.
    const int fd = open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, mode);
    if (fd >= 0) {
      fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
      return fd;
    }
    if (errno != ELOOP) {
      return -1;
    }
    path = TargetOfTrustedLink(path);
    if (path.empty()) {
      errno = ELOOP;
      return -1;
    }
  }
  return -1;
}

// The numbers of the standard streams, when a program has closed them, are not for files: what is
// printed to such a stream would be written into the file.
int MoveBeyondStandardStreams(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) {
    return fd;
  }
  const int higher = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(fd);
  return higher;
}

// Empties a file of the caller's own; there is nothing to empty in what is no regular file. A file
// with a second name might be another than the caller means.
bool EmptyOwn(int fd, const struct stat& info) {
  if (!S_ISREG(info.st_mode)) {
    return true;
  }
  if (info.st_uid != geteuid() || info.st_nlink > 1) {
    errno = EPERM;
    return false;
  }
  return ftruncate(fd, 0) == 0;
}

// Whether the file's last byte ends a line; an empty file does, and one that cannot be read.
bool EndsWithNewline(int fd, uint64_t size) {
  char last = '\n';
  if (size > 0 && pread(fd, &last, 1, static_cast<off_t>(size - 1)) != 1) {
    return true;
  }
  // Behind zero bytes (another writer's unused tail) nothing is in the middle of anything either.
  return last == '\n' || last == '\0';
}

// Others that hold it know that the file is in use. One that cuts its tail has the file for itself,
// for a moment; who gave up then would write without the tail, and lose its lines in a crash.
bool LockShared(int fd) {
  constexpr timespec kPause = {0, 1000000};
  constexpr int kAttempts = 500;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (flock(fd, LOCK_SH | LOCK_NB) == 0) {
      return true;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) {
      return false;
    }
    nanosleep(&kPause, nullptr);
  }
  return false;
}
bool LockAlone(int fd) { return flock(fd, LOCK_EX | LOCK_NB) == 0; }

FileIdentity IdentityOf(const struct stat& info) {
  return {static_cast<uint64_t>(info.st_dev), info.st_ino, info.st_nlink};
}

}  // namespace

AppendFile::AppendFile(std::string path) : path_(std::move(path)) {}

AppendFile::~AppendFile() { Close(); }

bool AppendFile::Open(int flags, mode_t mode) {
  const bool empty = (flags & O_TRUNC) != 0;
  const int fd = MoveBeyondStandardStreams(
      OpenThroughTrustedLinks(path_, (flags & ~O_TRUNC) | O_CLOEXEC, mode));
  struct stat info = {};
  if (fd < 0 || fstat(fd, &info) != 0 ||
      (empty && (!EmptyOwn(fd, info) || fstat(fd, &info) != 0))) {
    if (fd >= 0) {
      close(fd);
    }
    return false;
  }
  fd_ = fd;
  identity_ = IdentityOf(info);
  size_ = S_ISREG(info.st_mode) ? static_cast<uint64_t>(info.st_size) : 0;
  is_sole_ = S_ISREG(info.st_mode) && (flags & O_APPEND) == 0;
  if (is_sole_) {
    lseek(fd_, 0, SEEK_END);
  }
  mid_record_ = !EndsWithNewline(fd_, size_);
  return true;
}

bool AppendFile::Reopen(int flags) {
  const FileIdentity wanted = identity_;
  const bool mid_record = mid_record_;
  struct stat info = {};
  // To open a pipe might take for ever.
  if (stat(path_.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || !Open(flags, 0)) {
    return false;
  }
  if (!identity_.IsSameFile(wanted)) {
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
  FileIdentity now;
  if (fd_ >= 0 && (!GetFileIdentity(fd_, &now) || !identity_.IsSameFile(now))) {
    fd_ = -1;
  }
  is_removed_ = fd_ >= 0 && now.links == 0;
  return fd_ >= 0;
}

bool AppendFile::IsAtItsPath() const {
  struct stat info = {};
  return stat(path_.c_str(), &info) == 0 && identity_.IsSameFile(IdentityOf(info));
}

bool AppendFile::Empty() {
  struct stat info = {};
  if (fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode) || ftruncate(fd_, 0) != 0) {
    return false;
  }
  size_ = 0;
  mid_record_ = false;
  return true;
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

bool AppendFile::AppendZeros(size_t size, uint64_t* begin) {
  static const char zeros[64 * 1024] = {};
  const std::string more(size > sizeof(zeros) ? size : 0, '\0');
  const size_t written = Append(more.empty() ? zeros : more.data(), size);
  const off_t end = lseek(fd_, 0, SEEK_CUR);
  if (written == size && end >= 0 && static_cast<uint64_t>(end) >= size) {
    size_ = static_cast<uint64_t>(end);
    *begin = size_ - size;
    return true;
  }
  // Zero bytes that cannot be taken off again are left out by readers.
  const int saved_errno = errno;
  struct stat info = {};
  if (written > 0 && fstat(fd_, &info) == 0 && static_cast<uint64_t>(info.st_size) == size_) {
    CutAt(size_ - written);
  }
  errno = saved_errno;
  return false;
}

bool AppendFile::CutAt(uint64_t end) {
  if (ftruncate(fd_, static_cast<off_t>(end)) != 0) {
    return false;
  }
  size_ = end;
  return true;
}

void AppendFile::CutIfAlone(uint64_t size, uint64_t end) {
  if (!CheckOpen()) {
    return;
  }
  struct stat info = {};
  if (LockAlone(fd_) && fstat(fd_, &info) == 0 && static_cast<uint64_t>(info.st_size) == size) {
    CutAt(end);
  }
  LockShared(fd_);
}

bool AppendFile::Adopt() {
  struct stat info = {};
  if (fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
    return false;
  }
  if (LockAlone(fd_)) {
    const uint64_t end = tessik::shared::SizeWithoutZeroTail(fd_, size_);
    if (end != size_ && CutAt(end)) {
      mid_record_ = !EndsWithNewline(fd_, end);
    }
  }
  return LockShared(fd_);
}

bool AppendFile::StepBack(size_t size) {
  if (!is_sole_ || size > size_ || lseek(fd_, static_cast<off_t>(size_ - size), SEEK_SET) < 0) {
    return false;
  }
  size_ -= size;
  return true;
}

void AppendFile::TakeBack(size_t size) {
  const uint64_t end = size_ - size;
  struct stat info = {};
  // Not when others append to the file, too: what would be cut off might be theirs.
  const bool is_mine =
      is_sole_ || (fstat(fd_, &info) == 0 && static_cast<uint64_t>(info.st_size) == size_);
  if (is_mine && CutAt(end)) {
    lseek(fd_, 0, SEEK_END);
  } else {
    mid_record_ = true;
  }
}

}  // namespace rtc
