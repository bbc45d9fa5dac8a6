// A log sink that keeps the last lines in memory, for whoever tells about a crash.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LAST_LINES_LOG_SINK_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LAST_LINES_LOG_SINK_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "media_core/common/webrtc/rtc_base/log_sink.h"

#pragma GCC visibility push(default)

namespace rtc {

// Keeps the beginnings of the last 200 lines, without their newlines, in memory of its own (some
// 100 KiB; nothing is allocated later). Lines are numbered from 0 as they come.
//
//   static rtc::LastLinesLogSink last_lines;
//   rtc::LogMessage::AddLogToStream(&last_lines, rtc::LS_INFO);
//   ...
//   char line[rtc::LastLinesLogSink::kMaxLineBytes];
//   for (uint64_t n = last_lines.first_line(); n < last_lines.end_line(); ++n) {
//     size_t size = 0;
//     if (last_lines.Read(n, line, sizeof(line), &size)) { ... }
//   }
//
// Lines come in one at a time, as LogSink says. They are read on any thread, at any time, in signal
// handlers, too: reading takes no lock and no heap, and finds a line whole or not at all.
class LastLinesLogSink : public LogSink {
 public:
  // How many lines are kept; an older one gives way to a new one.
  static constexpr size_t kMaxLines = 200;
  // What is kept of a longer line, cut behind a whole UTF-8 character.
  static constexpr size_t kMaxLineBytes = 504;

  // A sink without lines. The number is what RemoveLogToStream knows it by.
  explicit LastLinesLogSink(int sink_id = 0) : LogSink(sink_id) {}
  LastLinesLogSink(const LastLinesLogSink&) = delete;
  LastLinesLogSink& operator=(const LastLinesLogSink&) = delete;

  void OnLogLine(const std::string& line) override;

  // The numbers of the lines that are kept: from the first one to before the end.
  uint64_t first_line() const;
  uint64_t end_line() const { return end_.load(std::memory_order_acquire); }

  // Copies at most `room` bytes of the line with that number; `size` is how many. False when it is
  // not kept (any more), also when it is just being replaced.
  bool Read(uint64_t number, char* buffer, size_t room, size_t* size) const;

 private:
  using Word = uint64_t;
  static constexpr size_t kWords = kMaxLineBytes / sizeof(Word);

  // Changed by one thread at a time. Its number tells whether what was read belongs together.
  struct Slot {
    // The line's number plus one; 0 while it changes, and before the first line.
    std::atomic<uint64_t> tag{0};
    std::atomic<size_t> size{0};
    std::atomic<Word> words[kWords] = {};
  };

  Slot slots_[kMaxLines];
  std::atomic<uint64_t> end_{0};
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LAST_LINES_LOG_SINK_H_
