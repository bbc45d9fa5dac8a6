#include <zlib.h>

#include <array>
#include <cstring>

#include "oru_report/input/byte_stream.h"

namespace oru_report {
namespace {

class UnpackedStream : public ByteStream {
 public:
  explicit UnpackedStream(std::unique_ptr<ByteStream> packed) : packed_(std::move(packed)) {}
  ~UnpackedStream() override {
    if (kind_ == kGzip) inflateEnd(&zip_);
  }

  long Read(char* buffer, size_t room, std::string* error) override {
    if (kind_ == kUnknown && !LookAtStart(error)) return -1;
    return kind_ == kGzip ? Inflate(buffer, room, error) : Pass(buffer, room, error);
  }

  uint64_t StoredSize() const override { return packed_->StoredSize(); }

 private:
  enum Kind { kUnknown, kPlain, kGzip };

  // Fills the buffer's rest. False on failure.
  bool Fill(std::string* error) {
    const long got = packed_->Read(input_.data() + filled_, input_.size() - filled_, error);
    if (got < 0) return false;
    filled_ += static_cast<size_t>(got);
    ended_ = got == 0;
    return true;
  }

  bool LookAtStart(std::string* error) {
    while (filled_ < 2 && !ended_) {
      if (!Fill(error)) return false;
    }
    const bool gzip = filled_ >= 2 && memcmp(input_.data(), "\x1f\x8b", 2) == 0;
    // 16: gzip's own header.
    if (gzip && inflateInit2(&zip_, 16 + MAX_WBITS) != Z_OK) {
      *error = "no memory to unpack it";
      return false;
    }
    kind_ = gzip ? kGzip : kPlain;
    return true;
  }

  long Pass(char* buffer, size_t room, std::string* error) {
    if (used_ == filled_) return packed_->Read(buffer, room, error);
    const size_t count = std::min(room, filled_ - used_);
    memcpy(buffer, input_.data() + used_, count);
    used_ += count;
    return static_cast<long>(count);
  }

  long Inflate(char* buffer, size_t room, std::string* error) {
    while (!finished_) {
      if (used_ == filled_ && !ended_) {
        used_ = filled_ = 0;
        if (!Fill(error)) return -1;
      }
      zip_.next_in = reinterpret_cast<Bytef*>(input_.data() + used_);
      zip_.avail_in = static_cast<uInt>(filled_ - used_);
      zip_.next_out = reinterpret_cast<Bytef*>(buffer);
      zip_.avail_out = static_cast<uInt>(room);
      const int result = inflate(&zip_, Z_NO_FLUSH);
      used_ = filled_ - zip_.avail_in;
      const size_t made = room - zip_.avail_out;
      // Members may follow each other; what else follows is no part of it.
      if (result == Z_STREAM_END) finished_ = !NextMember();
      if (made != 0) return static_cast<long>(made);
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
        *error = "its packed form is damaged";
        return -1;
      }
      if (ended_ && used_ == filled_ && result != Z_STREAM_END) {
        *error = "its packed form is cut off";
        return -1;
      }
    }
    return 0;
  }

  bool NextMember() {
    return used_ < filled_ && input_[used_] == '\x1f' && inflateReset(&zip_) == Z_OK;
  }

  std::unique_ptr<ByteStream> packed_;
  std::array<char, 65536> input_{};
  size_t filled_ = 0;
  size_t used_ = 0;
  bool ended_ = false;
  bool finished_ = false;
  Kind kind_ = kUnknown;
  z_stream zip_ = {};
};

}  // namespace

std::unique_ptr<ByteStream> MakeUnpackedStream(std::unique_ptr<ByteStream> packed) {
  return std::make_unique<UnpackedStream>(std::move(packed));
}

}  // namespace oru_report
