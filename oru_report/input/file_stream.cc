#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "oru_report/input/byte_stream.h"

namespace oru_report {
namespace {

class FileStream : public ByteStream {
 public:
  explicit FileStream(int descriptor) : descriptor_(descriptor) {}
  ~FileStream() override {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
  }

  long Read(char* buffer, size_t room, std::string* error) override {
    ssize_t got = 0;
    do {
      got = read(descriptor_, buffer, room);
    } while (got < 0 && errno == EINTR);
    if (got < 0) *error = strerror(errno);
    return got;
  }

  uint64_t StoredSize() const override {
    struct stat status = {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    return static_cast<uint64_t>(status.st_size);
  }

 private:
  int descriptor_;
};

}  // namespace

std::unique_ptr<ByteStream> MakeFileStream(int descriptor) {
  return std::make_unique<FileStream>(descriptor);
}

}  // namespace oru_report
