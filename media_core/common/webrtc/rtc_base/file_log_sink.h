// A log sink that writes to a file.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_LOG_SINK_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_LOG_SINK_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/log_sink.h"

namespace rtc {
class AppendFile;
class ForkedChildHook;
}  // namespace rtc

#pragma GCC visibility push(default)

namespace rtc {

// How a FileLogSink writes.
struct FileLogSinkOptions {
  // Lines are collected up to this many bytes and then written at once. 0 writes every line by
  // itself. A longer line is written by itself, too.
  size_t buffer_bytes = 64 * 1024;
  // The size that the file should not exceed; 0 for no bound. A write that would exceed it makes
  // the file a backup first: PATH becomes PATH.1, PATH.1 becomes PATH.2, and so on. Where it cannot
  // be renamed it is emptied.
  uint64_t max_file_bytes = 0;
  // The backups that are kept; the oldest is removed. With 0 the full file is removed.
  int max_backups = 1;
  // What a file that is created may be read and written by, less the process's umask.
  unsigned file_mode = 0600;
  // Whether control characters inside a line (newlines, escapes for terminals), marks that turn the
  // direction of text, and bytes that are no UTF-8 are shown as "\n", "\r" and "\xHH". Without it
  // they stand in the file as they were logged: text from elsewhere can then look like lines of the
  // program's own.
  bool clean_lines = false;
  // Messages addressed to this id reach the sink; see LogSink.
  int sink_id = 0;
};

// Appends lines to a file, through a buffer.
//
//   rtc::FileLogSink sink(dir + "/host.log", {});
//   rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
//   ...
//   rtc::LogMessage::RemoveLogToStream(&sink);
//
// What it promises about the file: every line in it is whole, but perhaps the last one, which then
// lacks its newline. Lines are written in one system call for many, which SIGKILL (nothing else)
// can cut; the next sink on the file closes such a line first. A part of a line that a full disk
// left behind is taken off again (or, where the system refuses that, closed by a newline before the
// next line). What the buffer holds is lost when the process is killed: Flush() what has to
// survive, for example from a crash callback.
//
// It never fails towards its callers. Lines that cannot be written are dropped and counted; every
// later write tries again, and opens the file anew if its descriptor was closed or taken by others,
// or if the file was removed.
// A forked child drops the lines it inherited in the buffer: they are the parent's to write.
//
// Thread-safe, beside what LogSink says. Not for signal handlers.
class FileLogSink : public LogSink {
 public:
  // Opens the file, creating it where it is missing (its folder must exist). See is_open().
  FileLogSink(const std::string& path, const FileLogSinkOptions& options);
  // Writes what is left. The sink must have been removed from the log.
  ~FileLogSink() override;
  FileLogSink(const FileLogSink&) = delete;
  FileLogSink& operator=(const FileLogSink&) = delete;

  void OnLogLine(const std::string& line) override;

  // Hands all lines so far to the system; returns whether it took them. They survive the process
  // then, not the machine.
  bool Flush();

  // Whether the file was open after the last attempt to write or open it.
  bool is_open() const;
  // The lines lost so far.
  uint64_t dropped_lines() const;
  // The file's path, as given.
  const std::string& path() const { return path_; }

 private:
  static void RenewInForkedChild(void* self);
  void Take(const std::string& line);
  // These expect the lock to be held.
  bool WriteOut(const std::string& lines);
  bool FlushBuffer();
  bool EnsureOpen();
  bool Append(const std::string& lines);
  void Rotate();

  const std::string path_;
  const FileLogSinkOptions options_;

  mutable CriticalSection crit_;
  // All below is guarded by crit_.
  const std::unique_ptr<AppendFile> file_;
  std::unique_ptr<std::string> buffer_;
  uint64_t dropped_lines_ = 0;
  // The first to go.
  const std::unique_ptr<ForkedChildHook> fork_hook_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_LOG_SINK_H_
