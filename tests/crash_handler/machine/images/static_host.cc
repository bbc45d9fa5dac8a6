// A statically linked program that looks at its own stack.
#include <ucontext.h>

#include <cstdio>

#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"
#include "media_core/biz_engine/crash_handler/report/frame_line.h"

namespace {

using namespace CrashHandler::machine;

__attribute__((noinline)) int PrintsItsStack() {
  ucontext_t here;
  void* frames[kMaxCrashFrames];
  if (getcontext(&here) != 0) return 1;
  TextBuffer text;
  const FrameLines lines(frames, WalkFromContext(&here, frames, kMaxCrashFrames), nullptr);
  for (size_t i = 0; i < lines.size(); ++i) {
    lines.Append(i, &text);
    text.Append('\n');
  }
  fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

}  // namespace

// Its own frame has to be there.
__attribute__((disable_tail_calls)) int main() {
  const volatile int result = PrintsItsStack();
  return result;
}
