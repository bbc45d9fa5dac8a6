#include "examples/reference_sdk/log_reader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace reference_sdk {
namespace {

constexpr uint64_t kNoEnd = std::numeric_limits<uint64_t>::max();

uint64_t CurrentSize(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

}  // namespace

void LogReader::FindExtent() {
  extent_is_hole_ = false;
  extent_end_ = kNoEnd;
  const off_t data = lseek(fd_, static_cast<off_t>(position_), SEEK_DATA);
  if (data < 0 && errno != ENXIO) return;  // A file system that cannot tell.
  if (data < 0 || static_cast<uint64_t>(data) > position_) {
    extent_is_hole_ = true;
    extent_end_ = data < 0 ? CurrentSize(fd_) : static_cast<uint64_t>(data);
    return;
  }
  const off_t hole = lseek(fd_, static_cast<off_t>(position_), SEEK_HOLE);
  if (hole > 0) extent_end_ = static_cast<uint64_t>(hole);
}

bool LogReader::NextIsHole(size_t length) {
  if (position_ >= extent_end_) FindExtent();
  return extent_is_hole_ && extent_end_ >= position_ && extent_end_ - position_ >= length;
}

ssize_t LogReader::Read(unsigned char* data, size_t length) {
  size_t got = 0;
  while (got < length) {
    const ssize_t part = pread(fd_, data + got, length - got, static_cast<off_t>(position_));
    if (part < 0 && errno == EINTR) continue;
    if (part < 0) return -1;
    if (part == 0) break;
    got += static_cast<size_t>(part);
    position_ += static_cast<uint64_t>(part);
  }
  return static_cast<ssize_t>(got);
}

}  // namespace reference_sdk
