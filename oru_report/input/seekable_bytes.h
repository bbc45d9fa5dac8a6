// Bytes that are read in any order: what an archive needs.
#ifndef ORU_REPORT_INPUT_SEEKABLE_BYTES_H_
#define ORU_REPORT_INPUT_SEEKABLE_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "oru_report/input/byte_stream.h"

namespace oru_report {

class SeekableBytes {
 public:
  SeekableBytes() = default;
  virtual ~SeekableBytes() = default;
  SeekableBytes(const SeekableBytes&) = delete;
  SeekableBytes& operator=(const SeekableBytes&) = delete;

  virtual uint64_t Size() const = 0;
  // As many of the `room` bytes from `offset` on as there are; less only at the end or on failure.
  virtual size_t ReadAt(uint64_t offset, char* buffer, size_t room) = 0;
};

// A regular file from its beginning. The descriptor is closed unless it is standard input.
std::unique_ptr<SeekableBytes> MakeFileBytes(int descriptor);

std::unique_ptr<SeekableBytes> MakeMemoryBytes(std::string bytes);

// All that `stream` has behind `beginning`, in memory. Null, with a sentence in `error`, when it
// cannot be read or is more than `most` bytes.
std::unique_ptr<SeekableBytes> ReadAllBytes(std::string beginning, ByteStream* stream, size_t most,
                                            std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_SEEKABLE_BYTES_H_
