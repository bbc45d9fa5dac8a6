// A frame as the system's `backtrace_symbols` prints it, without its heap and locks.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_FRAME_LINE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_FRAME_LINE_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler::machine {

// Without a line end. `index` counts from the innermost frame. May run in a signal handler.
void AppendFrameLine(size_t index, uintptr_t address, const SymbolInformation& record,
                     TextBuffer* text);

// The lines of a crash's frames, which are looked up in one pass. Where an image's file has a full
// symbol table, functions are named that the system's `backtrace_symbols` does not see: static and
// hidden ones. May be used in a signal handler.
class FrameLines {
 public:
  // The first kMaxCrashFrames of the frames, innermost first. They are return addresses, which are
  // looked up inside their calls; but `interrupted`, where it is among them, is an instruction that
  // a signal interrupted, and so is itself (null: there is none). There are two where a second
  // signal interrupted the first one's handling.
  FrameLines(void* const* frames, size_t count, const void* interrupted,
             const void* interrupted_later = nullptr);
  FrameLines(const FrameLines&) = delete;
  FrameLines& operator=(const FrameLines&) = delete;

  size_t size() const { return count_; }
  // Without a line end.
  void Append(size_t index, TextBuffer* text) const;

 private:
  Symbolizer symbolizer_;  // owns the names
  size_t count_;
  uintptr_t addresses_[kMaxCrashFrames];
  SymbolInformation records_[kMaxCrashFrames];
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_FRAME_LINE_H_
