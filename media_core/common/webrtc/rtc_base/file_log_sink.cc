#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "media_core/common/webrtc/rtc_base/append_file.h"
#include "media_core/common/webrtc/rtc_base/forked_child_hook.h"
#include "media_core/common/webrtc/rtc_base/log_clean_line.h"

namespace rtc {
namespace {

// A buffer that grew beyond its purpose by one huge line is not kept.
constexpr size_t kReserveLimit = 1024 * 1024;

// Readable, for the look at the last byte.
constexpr int kOpenFlags = O_RDWR | O_CREAT;

uint64_t CountLines(const char* data, size_t size) {
  return static_cast<uint64_t>(std::count(data, data + size, '\n'));
}

std::string BackupName(const std::string& path, int number) {
  return path + "." + std::to_string(number);
}

std::unique_ptr<std::string> NewBuffer(const FileLogSinkOptions& options) {
  auto buffer = std::make_unique<std::string>();
  buffer->reserve(std::min(options.buffer_bytes, kReserveLimit));
  return buffer;
}

}  // namespace

FileLogSink::FileLogSink(const std::string& path, const FileLogSinkOptions& options)
    : LogSink(options.sink_id),
      path_(path),
      options_(options),
      file_(new AppendFile(path)),
      buffer_(NewBuffer(options)),
      fork_hook_(new ForkedChildHook(&RenewInForkedChild, this)) {
  file_->Open(kOpenFlags, static_cast<mode_t>(options_.file_mode));
}

FileLogSink::~FileLogSink() {
  const CritScope lock(&crit_);
  FlushBuffer();
}

void FileLogSink::OnLogLine(const std::string& line) {
  if (options_.clean_lines && !IsCleanLine(line)) {
    Take(CleanLine(line));
  } else {
    Take(line);
  }
}

void FileLogSink::Take(const std::string& line) {
  const CritScope lock(&crit_);
  if (buffer_->size() + line.size() > options_.buffer_bytes) {
    FlushBuffer();
    if (line.size() > options_.buffer_bytes) {
      WriteOut(line);
      return;
    }
  }
  buffer_->append(line);
}

bool FileLogSink::Flush() {
  const CritScope lock(&crit_);
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

void FileLogSink::RenewInForkedChild(void* self) {
  auto* const sink = static_cast<FileLogSink*>(self);
  const bool was_busy = !sink->crit_.TryEnter();
  if (was_busy) {
    // Another thread was changing the buffer: there is nothing left that could free it.
    static_cast<void>(sink->buffer_.release());
    sink->buffer_ = NewBuffer(sink->options_);
  } else {
    sink->buffer_->clear();
    sink->crit_.Leave();
  }
  sink->crit_.RenewInForkedChild();
}

bool FileLogSink::FlushBuffer() {
  if (buffer_->empty()) {
    return true;
  }
  const bool written = WriteOut(*buffer_);
  buffer_->clear();
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
  return file_->is_open() || file_->Open(kOpenFlags, static_cast<mode_t>(options_.file_mode));
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
  if (options_.max_backups > 0) {
    for (int number = options_.max_backups; number > 1; --number) {
      rename(BackupName(path_, number - 1).c_str(), BackupName(path_, number).c_str());
    }
    rename(path_.c_str(), BackupName(path_, 1).c_str());
  } else {
    unlink(path_.c_str());
  }
  // Still there: the folder takes no change, or something stands in the way.
  if (file_->IsAtItsPath() && file_->Empty()) {
    return;
  }
  file_->Close();
}

}  // namespace rtc
