#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "media_core/common/webrtc/rtc_base/process_id.h"

namespace rtc {
namespace {

// A buffer that grew beyond its purpose by one huge line is not kept.
constexpr size_t kReserveLimit = 1024 * 1024;

// Writes all of it; returns how much was written, errno telling why not more.
size_t WriteAll(int fd, const char* data, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t result = write(fd, data + done, size - done);
    if (result < 0 && errno == EINTR) {
      continue;
    }
    if (result <= 0) {
      break;
    }
    done += static_cast<size_t>(result);
  }
  return done;
}

uint64_t CountLines(const char* data, size_t size) {
  return static_cast<uint64_t>(std::count(data, data + size, '\n'));
}

std::string BackupName(const std::string& path, int number) {
  return path + "." + std::to_string(number);
}

// Whether the file's last byte ends a line; an empty file does.
bool EndsWithNewline(int fd, uint64_t size) {
  char last = '\n';
  if (size > 0 && pread(fd, &last, 1, static_cast<off_t>(size - 1)) != 1) {
    return true;
  }
  return last == '\n';
}

}  // namespace

FileLogSink::FileLogSink(const std::string& path, const FileLogSinkOptions& options)
    : LogSink(options.sink_id), path_(path), options_(options), pid_(CurrentProcessId()) {
  buffer_.reserve(std::min(options_.buffer_bytes, kReserveLimit));
  Open();
}

FileLogSink::~FileLogSink() {
  const CritScope lock(&crit_);
  AdoptProcess();
  FlushBuffer();
  Close();
}

void FileLogSink::OnLogLine(const std::string& line) {
  const CritScope lock(&crit_);
  AdoptProcess();
  if (buffer_.size() + line.size() > options_.buffer_bytes) {
    FlushBuffer();
    if (line.size() > options_.buffer_bytes) {
      WriteOut(line);
      return;
    }
  }
  buffer_.append(line);
}

bool FileLogSink::Flush() {
  const CritScope lock(&crit_);
  AdoptProcess();
  return FlushBuffer();
}

bool FileLogSink::is_open() const {
  const CritScope lock(&crit_);
  return fd_ >= 0;
}

uint64_t FileLogSink::dropped_lines() const {
  const CritScope lock(&crit_);
  return dropped_lines_;
}

void FileLogSink::AdoptProcess() {
  const int32_t pid = CurrentProcessId();
  if (pid != pid_) {
    pid_ = pid;
    buffer_.clear();
  }
}

bool FileLogSink::FlushBuffer() {
  if (buffer_.empty()) {
    return true;
  }
  const bool written = WriteOut(buffer_);
  buffer_.clear();
  return written;
}

bool FileLogSink::WriteOut(const std::string& lines) {
  // Logging leaves errno as its caller's next line may want to show it.
  const int saved_errno = errno;
  bool written = EnsureOpen();
  if (written && options_.max_file_bytes != 0 && file_size_ != 0 &&
      file_size_ + lines.size() > options_.max_file_bytes) {
    Rotate();
    written = EnsureOpen();
  }
  if (written) {
    written = Append(lines.data(), lines.size());
  } else {
    dropped_lines_ += CountLines(lines.data(), lines.size());
  }
  errno = saved_errno;
  return written;
}

bool FileLogSink::EnsureOpen() {
  if (fd_ >= 0 && !OwnsDescriptor()) {
    // Somebody closed it. Whatever the number stands for now is not this object's to close.
    fd_ = -1;
  }
  return fd_ >= 0 || Open();
}

bool FileLogSink::OwnsDescriptor() const {
  struct stat info = {};
  return fstat(fd_, &info) == 0 && info.st_dev == device_ && info.st_ino == inode_;
}

bool FileLogSink::Open() {
  constexpr mode_t kMode = 0644;
  // Readable for the look at the last byte.
  const int fd = open(path_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
  struct stat info = {};
  if (fd < 0 || fstat(fd, &info) != 0) {
    if (fd >= 0) {
      close(fd);
    }
    return false;
  }
  fd_ = fd;
  device_ = info.st_dev;
  inode_ = info.st_ino;
  file_size_ = S_ISREG(info.st_mode) ? static_cast<uint64_t>(info.st_size) : 0;
  mid_line_ = !EndsWithNewline(fd_, file_size_);
  return true;
}

void FileLogSink::Close() {
  if (fd_ >= 0 && OwnsDescriptor()) {
    close(fd_);
  }
  fd_ = -1;
}

bool FileLogSink::Append(const char* data, size_t size) {
  if (mid_line_) {
    if (WriteAll(fd_, "\n", 1) != 1) {
      dropped_lines_ += CountLines(data, size);
      return false;
    }
    mid_line_ = false;
    ++file_size_;
  }
  const size_t written = WriteAll(fd_, data, size);
  file_size_ += written;
  if (written == size) {
    return true;
  }
  size_t whole = written;
  while (whole > 0 && data[whole - 1] != '\n') {
    --whole;
  }
  dropped_lines_ += CountLines(data + whole, size - whole);
  if (whole != written) {
    TakeBackPartialLine(written - whole);
  }
  return false;
}

void FileLogSink::TakeBackPartialLine(size_t written) {
  const uint64_t end = file_size_ - written;
  struct stat info = {};
  // Not when others append to the file, too: what would be cut off might be theirs.
  const bool sole = fstat(fd_, &info) == 0 && static_cast<uint64_t>(info.st_size) == file_size_;
  if (sole && ftruncate(fd_, static_cast<off_t>(end)) == 0) {
    file_size_ = end;
  } else {
    mid_line_ = true;
  }
}

void FileLogSink::Rotate() {
  Close();
  if (options_.max_backups <= 0) {
    unlink(path_.c_str());
    return;
  }
  for (int number = options_.max_backups; number > 1; --number) {
    rename(BackupName(path_, number - 1).c_str(), BackupName(path_, number).c_str());
  }
  rename(path_.c_str(), BackupName(path_, 1).c_str());
}

}  // namespace rtc
