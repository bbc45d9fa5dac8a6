// Where the bytes of reports come from, one piece after the other.
#ifndef ORU_REPORT_INPUT_BYTE_STREAM_H_
#define ORU_REPORT_INPUT_BYTE_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace oru_report {

class ByteStream {
 public:
  ByteStream() = default;
  virtual ~ByteStream() = default;
  ByteStream(const ByteStream&) = delete;
  ByteStream& operator=(const ByteStream&) = delete;

  // Up to `room` bytes into `buffer`; 0 at the end. -1 on failure, with the reason in `error`,
  // without the stream's name.
  virtual long Read(char* buffer, size_t room, std::string* error) = 0;

  // The bytes that are packed or stored, as far as known; 0 otherwise.
  virtual uint64_t StoredSize() const { return 0; }
};

// A descriptor, which the stream closes unless it is standard input.
std::unique_ptr<ByteStream> MakeFileStream(int descriptor);

// `beginning`, which was read of `rest` before, and then the rest.
std::unique_ptr<ByteStream> MakeStreamBehind(std::string beginning,
                                             std::unique_ptr<ByteStream> rest);

// What the gzip members of `packed` unpack to. Bytes of another kind come as they are, so that any
// file can be read through it.
std::unique_ptr<ByteStream> MakeUnpackedStream(std::unique_ptr<ByteStream> packed);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_BYTE_STREAM_H_
