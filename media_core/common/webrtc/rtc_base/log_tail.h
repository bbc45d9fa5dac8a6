// The reserved end of a log file, mapped: what is put there is in the file at once, without a
// system call, however the process ends. For the file log sink only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_TAIL_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_TAIL_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace rtc {

class AppendFile;

// Space is claimed by appending zero bytes with one write: so it is there (a full disk refuses the
// write, no store into the mapping faults), and it is nobody else's, even where several processes
// append to the file. Text is stored front to back, so that a process that is killed leaves a
// beginning of what it was storing, and zero bytes behind it.
//
// Whoever makes a mapped file shorter ends the process at its next store: see FileLogSink.
// Not thread-safe.
class LogTail {
 public:
  LogTail() = default;
  ~LogTail() { Unmap(); }
  LogTail(const LogTail&) = delete;
  LogTail& operator=(const LogTail&) = delete;

  // How much may be put without a claim.
  size_t room() const { return static_cast<size_t>(end_ - at_); }
  // Puts text, which holds no zero byte and finds room.
  void Put(const char* data, size_t size);

  // Claims `size` bytes more at the file's end; room that is left is used up first where both are
  // one, else it becomes a blank line. False, with all as it was, when the system refuses.
  bool Claim(AppendFile* file, size_t size);
  // Gives all room back; the file ends behind its text, unless other processes have it open.
  void Finish(AppendFile* file);
  // Without the file, which is gone, or another process's to write.
  void Unmap();
  // In a forked child whose parent may have been in the middle of a call: the mapping stays.
  void Forget();

  bool is_mapped() const { return map_ != nullptr; }
  // Where the text ends in the file.
  uint64_t text_end() const { return OffsetOf(at_); }
  // What was put since the last Settle(): text that may have gone into a file that lost its name.
  std::string Unsettled() const { return {settled_, static_cast<size_t>(at_ - settled_)}; }
  void Settle() { settled_ = at_; }

 private:
  uint64_t OffsetOf(const char* place) const {
    return map_offset_ + static_cast<uint64_t>(place - map_);
  }
  bool Map(int fd, uint64_t begin, uint64_t end);
  void FillRoom();

  // Where the file's offset map_offset_ is mapped, up to beyond the file's end.
  char* map_ = nullptr;
  size_t map_size_ = 0;
  uint64_t map_offset_ = 0;
  // The room.
  char* at_ = nullptr;
  char* end_ = nullptr;
  char* settled_ = nullptr;
};

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_TAIL_H_
