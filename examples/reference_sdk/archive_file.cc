#include "examples/reference_sdk/archive_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace reference_sdk {
namespace {

constexpr size_t kBufferBytes = 256 * 1024;

ArchiveFile* FileOf(voidpf opaque) { return static_cast<ArchiveFile*>(opaque); }

// The zip writer's table of functions. Its stream argument is what open returned.
voidpf OpenArchive(voidpf opaque, const void* /*name*/, int /*mode*/) { return opaque; }

uLong ReadArchive(voidpf /*opaque*/, voidpf /*stream*/, void* /*data*/, uLong /*length*/) {
  return 0;  // A new archive is never read.
}

uLong WriteArchive(voidpf opaque, voidpf /*stream*/, const void* data, uLong length) {
  return FileOf(opaque)->Write(data, length) ? length : 0;
}

ZPOS64_T TellArchive(voidpf opaque, voidpf /*stream*/) { return FileOf(opaque)->position(); }

long SeekArchive(voidpf opaque, voidpf /*stream*/, ZPOS64_T offset, int origin) {
  return FileOf(opaque)->Seek(offset, origin) ? 0 : -1;
}

int CloseArchive(voidpf opaque, voidpf /*stream*/) { return FileOf(opaque)->Flush() ? 0 : -1; }

int ErrorOfArchive(voidpf opaque, voidpf /*stream*/) { return FileOf(opaque)->failed() ? 1 : 0; }

}  // namespace

ArchiveFile::ArchiveFile(int fd) : fd_(fd), buffer_(kBufferBytes) {}

zlib_filefunc64_def ArchiveFile::MinizipFunctions() {
  zlib_filefunc64_def functions{};
  functions.zopen64_file = OpenArchive;
  functions.zread_file = ReadArchive;
  functions.zwrite_file = WriteArchive;
  functions.ztell64_file = TellArchive;
  functions.zseek64_file = SeekArchive;
  functions.zclose_file = CloseArchive;
  functions.zerror_file = ErrorOfArchive;
  functions.opaque = this;
  return functions;
}

bool ArchiveFile::Seek(uint64_t offset, int origin) {
  uint64_t base = 0;
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) base = position_;
  if (origin == ZLIB_FILEFUNC_SEEK_END) base = size();
  // Offsets behind the base arrive as two's complement.
  const uint64_t target = base + offset;
  if (static_cast<int64_t>(target) < 0) return false;
  position_ = target;
  return true;
}

bool ArchiveFile::Write(const void* data, size_t length) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  if (position_ > size()) failed_ = true;  // The zip writer leaves no holes.
  while (length > 0 && !failed_) {
    size_t part = length;
    if (position_ < flushed_) {
      part = static_cast<size_t>(std::min<uint64_t>(length, flushed_ - position_));
      WriteAt(bytes, part, position_);
    } else if (position_ < size()) {
      part = static_cast<size_t>(std::min<uint64_t>(length, size() - position_));
      memcpy(&buffer_[static_cast<size_t>(position_ - flushed_)], bytes, part);
    } else {
      Append(bytes, part);
    }
    bytes += part;
    length -= part;
    position_ += part;
  }
  return !failed_;
}

bool ArchiveFile::Append(const unsigned char* data, size_t length) {
  while (length > 0) {
    if (buffered_ == buffer_.size() && !Flush()) return false;
    const size_t part = std::min(length, buffer_.size() - buffered_);
    memcpy(&buffer_[buffered_], data, part);
    buffered_ += part;
    data += part;
    length -= part;
  }
  return true;
}

bool ArchiveFile::Flush() {
  if (failed_ || !WriteAt(buffer_.data(), buffered_, flushed_)) return false;
  flushed_ += buffered_;
  buffered_ = 0;
  return true;
}

bool ArchiveFile::WriteAt(const unsigned char* data, size_t length, uint64_t offset) {
  while (length > 0) {
    const ssize_t put = pwrite(fd_, data, length, static_cast<off_t>(offset));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      failed_ = true;
      return false;
    }
    data += put;
    length -= static_cast<size_t>(put);
    offset += static_cast<uint64_t>(put);
  }
  return true;
}

}  // namespace reference_sdk
