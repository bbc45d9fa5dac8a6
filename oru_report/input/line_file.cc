#include "oru_report/input/line_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "oru_report/model/limits.h"
#include "utils/shared_log_tail.h"

namespace oru_report {
namespace {

constexpr size_t kPiece = 65536;

class File {
 public:
  explicit File(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {}
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  const int descriptor_;
};

// Puts lines together from pieces.
class Lines {
 public:
  explicit Lines(const std::function<void(std::string_view line)>& take) : take_(take) {}

  void Add(std::string_view piece) {
    for (size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
      Append(piece.substr(0, end));
      End();
      piece.remove_prefix(end + 1);
    }
    Append(piece);
  }
  void End() {
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    take_(line_);
    line_.clear();
  }
  bool has_rest() const { return !line_.empty(); }

 private:
  void Append(std::string_view text) {
    for (const char c : text) {
      if (line_.size() == kMaxLogLine) return;
      if (c != '\0') line_ += c;
    }
  }

  const std::function<void(std::string_view line)>& take_;
  std::string line_;
};

}  // namespace

bool ReadLines(const std::string& path, const std::function<void(std::string_view line)>& take,
               bool* part, std::string* error) {
  const File file(path);
  struct stat status = {};
  if (file.descriptor() < 0 || fstat(file.descriptor(), &status) != 0) {
    *error = strerror(errno);
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    *error = "it is no regular file";
    return false;
  }
  const uint64_t size =
      tessik::shared::SizeWithoutLogTail(file.descriptor(), static_cast<uint64_t>(status.st_size));
  *part = size > kMaxLogBytes;
  uint64_t at = *part ? size - kMaxLogBytes : 0;
  // The line that the beginning cuts.
  bool skip = *part;
  const std::function<void(std::string_view)> take_whole = [&](std::string_view line) {
    if (!skip) take(line);
    skip = false;
  };
  Lines lines(take_whole);
  std::string piece(kPiece, '\0');
  while (at < size) {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(kPiece, size - at));
    const ssize_t got = pread(file.descriptor(), &piece[0], wanted, static_cast<off_t>(at));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      *error = strerror(errno);
      return false;
    }
    if (got == 0) break;
    lines.Add(std::string_view(piece).substr(0, static_cast<size_t>(got)));
    at += static_cast<uint64_t>(got);
  }
  if (lines.has_rest()) lines.End();
  return true;
}

}  // namespace oru_report
