#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "media_core/common/webrtc/rtc_base/append_file.h"
#include "media_core/common/webrtc/rtc_base/forked_child_hook.h"
#include "media_core/common/webrtc/rtc_base/log_calendar_time.h"
#include "media_core/common/webrtc/rtc_base/log_clean_line.h"
#include "media_core/common/webrtc/rtc_base/log_tail.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

// A buffer that grew beyond its purpose by one huge line is not kept.
constexpr size_t kReserveLimit = 1024 * 1024;

// Space is reserved for a run of lines only: to claim it and give it back costs as much as to write
// some of them. Who flushes behind every line pays for a write.
constexpr int kWrittenLines = 16;

// Readable, for the look at the last byte.
constexpr int kOpenFlags = O_RDWR | O_CREAT | O_APPEND;

uint64_t CountLines(const char* data, size_t size) {
  return static_cast<uint64_t>(std::count(data, data + size, '\n'));
}

std::string BackupName(const std::string& path, int number) {
  return path + "." + std::to_string(number);
}

// A zero byte in the file is one that was never written.
std::string WithoutZeroBytes(const std::string& line) {
  std::string shown;
  for (const char c : line) {
    c == '\0' ? shown.append("\\x00") : shown.append(1, c);
  }
  return shown;
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
      tail_(new LogTail()),
      claim_bytes_(options.buffer_bytes),
      buffer_(NewBuffer(options)),
      fork_hook_(new ForkedChildHook(&RenewInForkedChild, this)) {
  Open();
}

FileLogSink::~FileLogSink() { Flush(); }

void FileLogSink::OnLogLine(const std::string& line) {
  if (options_.clean_lines && !IsCleanLine(line)) {
    Take(CleanLine(line));
  } else {
    Take(line);
  }
}

void FileLogSink::Take(const std::string& line) {
  const CritScope lock(&crit_);
  // Under the lock, so that times stand in order.
  const std::string dated =
      options_.calendar_time ? CalendarTimePrefix(TimeUTCMicros()) + line : std::string();
  const std::string& kept = options_.calendar_time ? dated : line;
  if (!TakeIntoTail(kept)) {
    Collect(kept);
  }
}

bool FileLogSink::Flush() {
  const CritScope lock(&crit_);
  if (tail_->is_mapped()) {
    const int saved_errno = errno;
    LeaveLostFile();
    tail_->Finish(file_.get());
    errno = saved_errno;
  }
  written_lines_ = 0;
  FlushBuffer();
  return std::exchange(dropped_before_flush_, dropped_lines_) == dropped_lines_;
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
    // Another thread was changing these: there is nothing left that could free them.
    static_cast<void>(sink->buffer_.release());
    sink->buffer_ = NewBuffer(sink->options_);
    sink->tail_->Forget();
  } else {
    sink->buffer_->clear();
    sink->tail_->Unmap();
    sink->crit_.Leave();
  }
  sink->crit_.RenewInForkedChild();
  if (sink->uses_tail_) {
    // The position and the lock of the parent's descriptor are the parent's.
    sink->file_->Close();
  }
}

bool FileLogSink::TakeIntoTail(const std::string& line) {
  if (!uses_tail_) {
    return false;
  }
  if (line.find('\0') != std::string::npos) {
    return TakeIntoTail(WithoutZeroBytes(line));
  }
  if (!tail_->is_mapped() && written_lines_ < kWrittenLines) {
    ++written_lines_;
    WriteOut(line);
    return true;
  }
  if (tail_->room() < line.size() && !MakeRoom(line.size())) {
    if (uses_tail_) {
      WriteOut(line);
    }
    return uses_tail_;
  }
  tail_->Put(line.data(), line.size());
  return true;
}

bool FileLogSink::MakeRoom(size_t size) {
  // Logging leaves errno as its caller's next line may want to show it.
  const int saved_errno = errno;
  LeaveLostFile();
  bool made = EnsureOpen();
  if (made && IsFull(size)) {
    Rotate();
    made = EnsureOpen();
  }
  made = made && uses_tail_ && ClaimRoom(size);
  errno = saved_errno;
  return made;
}

bool FileLogSink::ClaimRoom(size_t size) {
  const uint64_t bound = options_.max_file_bytes;
  const uint64_t text = TextSize();
  const uint64_t most = bound > text ? bound - text : size;
  const size_t missing = size - tail_->room();
  for (;;) {
    const auto wanted = static_cast<size_t>(
        bound == 0 ? claim_bytes_ : std::min<uint64_t>(claim_bytes_, most - tail_->room()));
    const size_t claim = std::max(wanted, size);
    if (tail_->Claim(file_.get(), claim)) {
      claim_bytes_ = std::min(claim_bytes_ * 2, options_.buffer_bytes);
      tail_->Settle();
      return true;
    }
    if (claim == size) {
      return false;
    }
    claim_bytes_ = std::max(claim_bytes_ / 2, missing);
  }
}

void FileLogSink::LeaveLostFile() {
  if (!tail_->is_mapped()) {
    return;
  }
  const bool is_open = file_->CheckOpen();
  if (is_open && !file_->is_removed()) {
    tail_->Settle();
    return;
  }
  const std::string lost = is_open ? tail_->Unsettled() : std::string();
  tail_->Unmap();
  file_->Close();
  if (!lost.empty()) {
    WriteOut(lost);
  }
}

void FileLogSink::Collect(const std::string& line) {
  if (buffer_->size() + line.size() > options_.buffer_bytes) {
    FlushBuffer();
    if (line.size() > options_.buffer_bytes) {
      WriteOut(line);
      return;
    }
  }
  buffer_->append(line);
}

void FileLogSink::FlushBuffer() {
  if (!buffer_->empty()) {
    WriteOut(*buffer_);
    buffer_->clear();
  }
}

void FileLogSink::WriteOut(const std::string& lines) {
  const int saved_errno = errno;
  tail_->Finish(file_.get());
  bool open = EnsureOpen();
  if (open && IsFull(lines.size())) {
    Rotate();
    open = EnsureOpen();
  }
  if (open) {
    Append(lines);
  } else {
    dropped_lines_ += CountLines(lines.data(), lines.size());
  }
  errno = saved_errno;
}

bool FileLogSink::Open() {
  const bool opened = file_->Open(kOpenFlags, static_cast<mode_t>(options_.file_mode));
  if (opened) {
    uses_tail_ = options_.survive_kill && options_.buffer_bytes > 0 && file_->Adopt();
  }
  return opened;
}

bool FileLogSink::EnsureOpen() {
  if (file_->CheckOpen() && file_->is_removed()) {
    file_->Close();
  }
  return file_->is_open() || Open();
}

bool FileLogSink::IsFull(size_t size) const {
  const uint64_t text = TextSize();
  return options_.max_file_bytes != 0 && text != 0 && text + size > options_.max_file_bytes;
}

uint64_t FileLogSink::TextSize() const {
  return tail_->is_mapped() ? tail_->text_end() : file_->size();
}

void FileLogSink::Append(const std::string& lines) {
  const size_t written = file_->Append(lines.data(), lines.size());
  if (written == lines.size()) {
    return;
  }
  size_t whole = written;
  while (whole > 0 && lines[whole - 1] != '\n') {
    --whole;
  }
  dropped_lines_ += CountLines(lines.data() + whole, lines.size() - whole);
  if (whole != written) {
    file_->TakeBack(written - whole);
  }
}

void FileLogSink::Rotate() {
  tail_->Finish(file_.get());
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
