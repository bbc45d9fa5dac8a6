#include "media_core/biz_engine/crash_handler/darwin/frame_symbols.h"

#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/report/frame_line.h"

namespace CrashHandler {

NSMutableArray* SymbolsOfFrames(void* const* frames, int count, const void* interrupted) {
  NSMutableArray* symbols = [NSMutableArray array];
  const machine::FrameLines lines(frames, static_cast<size_t>(count), interrupted);
  for (size_t i = 0; i < lines.size(); ++i) {
    machine::TextBuffer line;
    lines.Append(i, &line);
    [symbols addObject:TextFromBytes(line.data(), line.size())];
  }
  return symbols;
}

}  // namespace CrashHandler
