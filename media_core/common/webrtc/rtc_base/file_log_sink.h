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
class LogTail;
}  // namespace rtc

#pragma GCC visibility push(default)

namespace rtc {

// How a FileLogSink writes.
struct FileLogSinkOptions {
  // Lines are in the file, and survive the process however it ends, as soon as OnLogLine() returns:
  // they are stored into the file's mapped end (the first few after a flush are written). Zero
  // bytes may then stand behind the text, buffer_bytes of them at most or what the longest line
  // needed; the sink cuts them off when it is flushed or destroyed, the next sink on the file does
  // after a crash, and readers leave them out (tessik::shared::SizeWithoutLogTail of
  // utils/shared_log_tail.h).
  //
  // Nobody may make such a file shorter while it is open: a process that stores into what was cut
  // off is ended by SIGBUS. (A rotation by others that renames or removes the file is harmless; one
  // that copies and empties it is not.) Where the file cannot be mapped (a pipe or device, a file
  // system without locks or shared mappings) lines are collected as without this option, and so
  // they are with buffer_bytes 0.
  bool survive_kill = true;
  // Without survive_kill: lines are collected up to this many bytes and then written at once; 0
  // writes every line by itself. A longer line is written by itself, too. With it: the space that
  // is reserved at a time.
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
  // Whether the calendar time stands before each line: "2024-03-05T07:08:09.123Z ", UTC, of the
  // moment when the sink takes the line. It steps when the machine's clock is set. What clean_lines
  // does not change in a line (newlines in it) gets no time of its own.
  bool calendar_time = false;
};

// Appends lines to a file.
//
//   rtc::FileLogSink sink(dir + "/host.log", {});
//   rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
//   ...
//   rtc::LogMessage::RemoveLogToStream(&sink);
//
// What it promises about the file: every line whose OnLogLine() returned is in it, whole, whatever
// ends the process (with survive_kill; the machine's end is another matter). The last line may lack
// its end and its newline where SIGKILL came in the middle; the next sink on the file closes such a
// line first. A zero byte in a line is written as "\x00" then. A part of a line that a full disk
// left behind is taken off again (or, where the system refuses that, closed by a newline before the
// next line). Without survive_kill, what the buffer holds is lost when the process is killed.
//
// Several processes may append to one file; each line is whole. The zero bytes that one of them has
// not used may then stay between lines of others, and readers leave them out.
//
// It never fails towards its callers. Lines that cannot be written are dropped and counted; every
// later attempt (with survive_kill: each time that space runs out) tries again, and opens the file
// anew if its descriptor was closed or taken by others, or if the file was removed: lines that went
// into the removed file are written again into the new one.
// A forked child opens the file for itself and drops the lines it inherited in the buffer: they are
// the parent's to write.
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

  // Hands all lines so far to the system; returns whether it took all since the last Flush(). They
  // survive the process then, not the machine, and the file ends behind them.
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
  bool TakeIntoTail(const std::string& line);
  bool MakeRoom(size_t size);
  bool ClaimRoom(size_t size);
  void LeaveLostFile();
  void Collect(const std::string& line);
  void WriteOut(const std::string& lines);
  void FlushBuffer();
  bool Open();
  bool EnsureOpen();
  bool IsFull(size_t size) const;
  uint64_t TextSize() const;
  void Append(const std::string& lines);
  void Rotate();

  const std::string path_;
  const FileLogSinkOptions options_;

  mutable CriticalSection crit_;
  // All below is guarded by crit_.
  const std::unique_ptr<AppendFile> file_;
  // Whether lines go there.
  bool uses_tail_ = false;
  const std::unique_ptr<LogTail> tail_;
  // How much is claimed at a time: less while the disk is nearly full.
  size_t claim_bytes_;
  // Lines since the file was opened or flushed: the first ones are written, each at once.
  int written_lines_ = 0;
  std::unique_ptr<std::string> buffer_;
  uint64_t dropped_lines_ = 0;
  uint64_t dropped_before_flush_ = 0;
  // The first to go.
  const std::unique_ptr<ForkedChildHook> fork_hook_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FILE_LOG_SINK_H_
