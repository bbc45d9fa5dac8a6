#include <algorithm>

#include "media_core/biz_engine/crash_handler/report/frame_line.h"

namespace CrashHandler::machine {

FrameLines::FrameLines(void* const* frames, size_t count, const void* interrupted,
                       const void* interrupted_later)
    : count_(std::min(count, kMaxCrashFrames)) {
  uintptr_t lookups[kMaxCrashFrames];
  for (size_t i = 0; i < count_; ++i) {
    addresses_[i] = reinterpret_cast<uintptr_t>(frames[i]);
    const bool exact =
        frames[i] == interrupted || frames[i] == interrupted_later || addresses_[i] == 0;
    lookups[i] = exact ? addresses_[i] : addresses_[i] - 1;
  }
  symbolizer_.Resolve(lookups, records_, count_);
}

void FrameLines::Append(size_t index, TextBuffer* text) const {
  if (index < count_) AppendFrameLine(index, addresses_[index], records_[index], text);
}

}  // namespace CrashHandler::machine
