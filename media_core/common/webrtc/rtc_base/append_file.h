// A file that grows by whole records, whatever happens to the disk and to the descriptor. For the
// sources of the log's and the tracer's files only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_APPEND_FILE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_APPEND_FILE_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "media_core/common/webrtc/rtc_base/file_identity.h"

namespace rtc {

// Not thread-safe.
class AppendFile {
 public:
  explicit AppendFile(std::string path);
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  // Opens the file, which is not open. If it can be read and ends inside a record, that one is
  // closed by a newline before the next. With O_APPEND others may append, too; without it the file
  // is this object's alone.
  //
  // Links are followed only where the caller or root made them, and O_TRUNC empties only a file of
  // the caller's with one name: others may have set a trap in the folder. A pipe without a reader
  // is not waited for.
  bool Open(int flags, mode_t mode);
  // The same for a regular file, provided that the path still stands for the one that was open.
  bool Reopen(int flags);
  void Close();
  // Of what it holds; false where that cannot be.
  bool Empty();

  bool is_open() const { return fd_ >= 0; }
  // Whether the file is still open. A descriptor that somebody closed is forgotten: what its number
  // stands for now is not this object's to write to, nor to close.
  bool CheckOpen();
  // Whether CheckOpen() saw that the file has lost its name: nobody will find what it holds.
  bool is_removed() const { return is_removed_; }
  // Whether the path stands for the file that was opened last.
  bool IsAtItsPath() const;
  // Of a regular file, counting what this object appended.
  uint64_t size() const { return size_; }
  const std::string& path() const { return path_; }
  // -1 when it is not open.
  int descriptor() const { return fd_; }

  // Returns how much of it arrived, errno telling why not more.
  size_t Append(const char* data, size_t size);
  // Appends zero bytes with one write, all or none; `begin` is where they begin in the file,
  // whoever else appends to it.
  bool AppendZeros(size_t size, uint64_t* begin);
  // Makes the file, if it ends at `size` and nobody else has it adopted, end at `end`.
  void CutIfAlone(uint64_t size, uint64_t end);
  // For a log file: lets other processes know, until the file is closed, that it is in use, and
  // cuts off the zero bytes at its end if nobody else uses it. False where the system cannot do
  // that, or it is no regular file.
  bool Adopt();
  // Lets the next Append() replace the last `size` bytes; of a regular file without O_APPEND.
  bool StepBack(size_t size);
  // Takes the last `size` bytes that arrived off again: a part of a record. Where the system
  // refuses that, a newline closes the part before the next record.
  void TakeBack(size_t size);

 private:
  bool CutAt(uint64_t end);

  const std::string path_;
  int fd_ = -1;
  // Which file fd_ was opened on, to notice when the number has come to stand for another.
  FileIdentity identity_;
  bool is_removed_ = false;
  // A regular file without O_APPEND.
  bool is_sole_ = false;
  uint64_t size_ = 0;
  // The file ends inside a record.
  bool mid_record_ = false;
};

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_APPEND_FILE_H_
