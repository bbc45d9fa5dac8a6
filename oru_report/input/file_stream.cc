#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

class StreamBehind : public ByteStream {
 public:
  StreamBehind(std::string beginning, std::unique_ptr<ByteStream> rest)
      : beginning_(std::move(beginning)), rest_(std::move(rest)) {}

  long Read(char* buffer, size_t room, std::string* error) override {
    if (used_ == beginning_.size()) return rest_->Read(buffer, room, error);
    const size_t count = std::min(room, beginning_.size() - used_);
    memcpy(buffer, beginning_.data() + used_, count);
    used_ += count;
    return static_cast<long>(count);
  }

  uint64_t StoredSize() const override { return rest_->StoredSize(); }

 private:
  const std::string beginning_;
  const std::unique_ptr<ByteStream> rest_;
  size_t used_ = 0;
};

}  // namespace

std::unique_ptr<ByteStream> MakeStreamBehind(std::string beginning,
                                             std::unique_ptr<ByteStream> rest) {
  return std::make_unique<StreamBehind>(std::move(beginning), std::move(rest));
}

std::unique_ptr<ByteStream> MakeFileStream(int descriptor) {
  return std::make_unique<FileStream>(descriptor);
}

}  // namespace oru_report
