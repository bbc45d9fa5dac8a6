// The bytes of one log file, from its start to its end.
#ifndef EXAMPLES_REFERENCE_SDK_LOG_READER_H_
#define EXAMPLES_REFERENCE_SDK_LOG_READER_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace reference_sdk {

// For one thread.
class LogReader {
 public:
  // Reads from offset 0 of `fd`, a regular file that the caller keeps open.
  explicit LogReader(int fd) : fd_(fd) {}

  // Whether the next `length` bytes are a hole: they are zeros that need not be read. False where
  // the file system cannot tell, and behind the file's end.
  bool NextIsHole(size_t length);
  void Skip(size_t length) { position_ += length; }

  // Reads until `length` bytes are there or the file ends; -1 when it cannot be read.
  ssize_t Read(unsigned char* data, size_t length);

 private:
  void FindExtent();

  const int fd_;
  uint64_t position_ = 0;
  // What the position is in: up to where it reaches.
  bool extent_is_hole_ = false;
  uint64_t extent_end_ = 0;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_LOG_READER_H_
