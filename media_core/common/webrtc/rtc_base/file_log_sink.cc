#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "media_core/common/webrtc/rtc_base/append_file.h"
#include "media_core/common/webrtc/rtc_base/process_id.h"

namespace rtc {
namespace {

// A buffer that grew beyond its purpose by one huge line is not kept.
constexpr size_t kReserveLimit = 1024 * 1024;

// Readable, for the look at the last byte.
constexpr int kOpenFlags = O_RDWR | O_CREAT;
constexpr mode_t kMode = 0644;

uint64_t CountLines(const char* data, size_t size) {
  return static_cast<uint64_t>(std::count(data, data + size, '\n'));
}

std::string BackupName(const std::string& path, int number) {
  return path + "." + std::to_string(number);
}

}  // namespace

FileLogSink::FileLogSink(const std::string& path, const FileLogSinkOptions& options)
    : LogSink(options.sink_id),
      path_(path),
      options_(options),
      file_(new AppendFile(path)),
      pid_(CurrentProcessId()) {
  buffer_.reserve(std::min(options_.buffer_bytes, kReserveLimit));
  file_->Open(kOpenFlags, kMode);
}

FileLogSink::~FileLogSink() {
  const CritScope lock(&crit_);
  AdoptProcess();
  FlushBuffer();
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
  return file_->is_open();
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
  if (written && options_.max_file_bytes != 0 && file_->size() != 0 &&
      file_->size() + lines.size() > options_.max_file_bytes) {
    Rotate();
    written = EnsureOpen();
  }
  if (written) {
    written = Append(lines);
  } else {
    dropped_lines_ += CountLines(lines.data(), lines.size());
  }
  errno = saved_errno;
  return written;
}

bool FileLogSink::EnsureOpen() {
  if (file_->CheckOpen() && file_->is_removed()) {
    file_->Close();
  }
  return file_->is_open() || file_->Open(kOpenFlags, kMode);
}

bool FileLogSink::Append(const std::string& lines) {
  const size_t written = file_->Append(lines.data(), lines.size());
  if (written == lines.size()) {
    return true;
  }
  size_t whole = written;
  while (whole > 0 && lines[whole - 1] != '\n') {
    --whole;
  }
  dropped_lines_ += CountLines(lines.data() + whole, lines.size() - whole);
  if (whole != written) {
    file_->TakeBack(written - whole);
  }
  return false;
}

void FileLogSink::Rotate() {
  file_->Close();
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
