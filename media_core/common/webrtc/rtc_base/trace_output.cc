#include "media_core/common/webrtc/rtc_base/trace_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "media_core/common/webrtc/rtc_base/append_file.h"

namespace rtc {
namespace tracing {
namespace {

// The tracer's own file.
class TraceFile : public TraceOutput {
 public:
  explicit TraceFile(const char* path) : file_(path) {}

  bool Open() {
    constexpr mode_t kMode = 0600;
    return file_.Open(O_WRONLY | O_CREAT | O_TRUNC, kMode);
  }

  size_t Write(const std::string& text) override {
    return IsOpen() ? file_.Append(text.data(), text.size()) : 0;
  }

  bool StepBack(size_t size) override { return IsOpen() && file_.StepBack(size); }
  int descriptor() const override { return file_.descriptor(); }

  void TakeBack(size_t size) override { file_.TakeBack(size); }

 private:
  bool IsOpen() { return file_.CheckOpen() || file_.Reopen(O_WRONLY); }

  AppendFile file_;
};

// A stream of the caller's. Its buffer is emptied by every write, so that its descriptor stands
// where the text ends; a stream without a descriptor, or one that has no position (a pipe), only
// tells whether all of it was taken.
class CallersStream : public TraceOutput {
 public:
  explicit CallersStream(FILE* file) : file_(file) { fflush(file_); }

  size_t Write(const std::string& text) override {
    // Nothing arrives, and nothing shall wait in the buffer.
    if (IsClosed()) return 0;
    if (mid_line_ && (fputc('\n', file_) == EOF || fflush(file_) != 0)) {
      return 0;
    }
    mid_line_ = false;
    const off_t start = Position();
    const size_t taken = fwrite(text.data(), 1, text.size(), file_);
    if (fflush(file_) == 0 && taken == text.size()) {
      return taken;
    }
    const off_t arrived = start < 0 ? -1 : Position() - start;
    if (arrived < 0 || static_cast<size_t>(arrived) > text.size()) {
      mid_line_ = true;
      return 0;
    }
    return static_cast<size_t>(arrived);
  }

  int descriptor() const override { return fileno(file_); }

  void TakeBack(size_t size) override {
    const off_t position = Position();
    const off_t end = position - static_cast<off_t>(size);
    struct stat info = {};
    const int fd = fileno(file_);
    const bool is_last = fstat(fd, &info) == 0 && info.st_size == position;
    mid_line_ = !is_last || ftruncate(fd, end) != 0 || fseeko(file_, end, SEEK_SET) != 0;
  }

 private:
  // Of the descriptor, -1 when it has none.
  off_t Position() const { return lseek(fileno(file_), 0, SEEK_CUR); }

  // By other code; its path is not known here.
  bool IsClosed() const {
    const int fd = fileno(file_);
    return fd >= 0 && fcntl(fd, F_GETFD) < 0;
  }

  FILE* const file_;
  bool mid_line_ = false;
};

}  // namespace

std::unique_ptr<TraceOutput> OpenTraceFile(const char* path) {
  auto file = std::make_unique<TraceFile>(path);
  return file->Open() ? std::move(file) : nullptr;
}

std::unique_ptr<TraceOutput> UseTraceFile(FILE* file) {
  return std::make_unique<CallersStream>(file);
}

}  // namespace tracing
}  // namespace rtc
