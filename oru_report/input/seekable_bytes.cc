#include "oru_report/input/seekable_bytes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace oru_report {
namespace {

class FileBytes : public SeekableBytes {
 public:
  explicit FileBytes(int descriptor) : descriptor_(descriptor) {
    struct stat status = {};
    if (fstat(descriptor, &status) == 0) size_ = static_cast<uint64_t>(status.st_size);
  }
  ~FileBytes() override {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
  }

  uint64_t Size() const override { return size_; }

  size_t ReadAt(uint64_t offset, char* buffer, size_t room) override {
    size_t done = 0;
    while (done < room) {
      const ssize_t got =
          pread(descriptor_, buffer + done, room - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      done += static_cast<size_t>(got);
    }
    return done;
  }

 private:
  const int descriptor_;
  uint64_t size_ = 0;
};

class MemoryBytes : public SeekableBytes {
 public:
  explicit MemoryBytes(std::string bytes) : bytes_(std::move(bytes)) {}

  uint64_t Size() const override { return bytes_.size(); }

  size_t ReadAt(uint64_t offset, char* buffer, size_t room) override {
    if (offset >= bytes_.size()) return 0;
    const size_t count = std::min(room, bytes_.size() - static_cast<size_t>(offset));
    memcpy(buffer, bytes_.data() + offset, count);
    return count;
  }

 private:
  const std::string bytes_;
};

}  // namespace

std::unique_ptr<SeekableBytes> MakeFileBytes(int descriptor) {
  return std::make_unique<FileBytes>(descriptor);
}

std::unique_ptr<SeekableBytes> MakeMemoryBytes(std::string bytes) {
  return std::make_unique<MemoryBytes>(std::move(bytes));
}

std::unique_ptr<SeekableBytes> ReadAllBytes(std::string beginning, ByteStream* stream, size_t most,
                                            std::string* error) {
  constexpr size_t kPiece = 65536;
  std::string bytes = std::move(beginning);
  for (long got = 1; got != 0;) {
    const size_t before = bytes.size();
    if (before > most) {
      *error = "it is too large to be read from a pipe; name the file instead";
      return nullptr;
    }
    bytes.resize(before + kPiece);
    got = stream->Read(&bytes[before], kPiece, error);
    if (got < 0) return nullptr;
    bytes.resize(before + static_cast<size_t>(got));
  }
  return MakeMemoryBytes(std::move(bytes));
}

}  // namespace oru_report
