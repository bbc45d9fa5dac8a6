// The archive on disk, as the zip writer sees it: a stream that it appends to and now and then
// patches further back.
#ifndef EXAMPLES_REFERENCE_SDK_ARCHIVE_FILE_H_
#define EXAMPLES_REFERENCE_SDK_ARCHIVE_FILE_H_

#include <minizip/ioapi.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace reference_sdk {

// For one thread. Errors stick: after the first one nothing more is written and Flush() fails.
class ArchiveFile {
 public:
  // Writes to `fd` from its offset 0; the caller keeps owning it.
  explicit ArchiveFile(int fd);
  ArchiveFile(const ArchiveFile&) = delete;
  ArchiveFile& operator=(const ArchiveFile&) = delete;

  // At the current position, which moves on. False on a write error (a full disk).
  bool Write(const void* data, size_t length);
  // `origin` is one of ZLIB_FILEFUNC_SEEK_*. False for a position before the start.
  bool Seek(uint64_t offset, int origin);
  uint64_t position() const { return position_; }
  // Writes out what is buffered. False when that or any earlier write failed.
  bool Flush();
  // The archive's length, buffered bytes included.
  uint64_t size() const { return flushed_ + buffered_; }
  bool failed() const { return failed_; }

  // For zipOpen2_64; refers to this object, which must outlive the zip handle.
  zlib_filefunc64_def MinizipFunctions();

 private:
  bool WriteAt(const unsigned char* data, size_t length, uint64_t offset);
  bool Append(const unsigned char* data, size_t length);

  int fd_;
  bool failed_ = false;
  uint64_t position_ = 0;
  // Bytes of the archive that are in the file; those after them are the first ones of the buffer.
  uint64_t flushed_ = 0;
  size_t buffered_ = 0;
  std::vector<unsigned char> buffer_;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_ARCHIVE_FILE_H_
