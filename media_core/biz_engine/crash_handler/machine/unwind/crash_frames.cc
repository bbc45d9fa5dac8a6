#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"

#include <algorithm>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/threads/context_registers.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {
namespace {

// A handler has fewer; most of the room is the interrupted code's.
constexpr size_t kMaxHandlerFrames = 32;

// How many of the frames are the handler's: those before the first that is the interrupted code's
// too, without what the system may have taken for a frame in between.
size_t HandlerFrames(void* const* frames, size_t count, void* const* interrupted, size_t walked) {
  size_t own = 1;
  for (; own < count; ++own) {
    if (std::find(interrupted, interrupted + walked, frames[own]) != interrupted + walked) break;
  }
  own = std::min(own, kMaxHandlerFrames);
  SymbolInformation record;
  Symbolizer symbolizer;
  while (own > 1 &&
         !symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(frames[own - 1]) - 1, &record)) {
    --own;
  }
  return own;
}

}  // namespace

size_t WalkFromContext(const void* context, void** frames, size_t room) {
  return WalkWhole(RegistersOfContext(context), frames, room);
}

__attribute__((noinline)) size_t CompleteCrashFrames(const void* context, void** frames,
                                                     size_t count, size_t room) {
  if (context == nullptr || room == 0) return count;
  const void* const interrupted_at = InterruptedAt(context);
  if (std::find(frames, frames + count, interrupted_at) != frames + count) return count;
  if (count == 0) frames[count++] = __builtin_return_address(0);

  void* interrupted[kMaxCrashFrames];
  const size_t walked = WalkFromContext(context, interrupted, kMaxCrashFrames);
  const size_t own = HandlerFrames(frames, count, interrupted, walked);
  const size_t added = std::min(walked, room - std::min(own, room));
  memcpy(frames + own, interrupted, added * sizeof(*frames));
  return own + added;
}

const void* InterruptedAt(const void* context) {
  if (context == nullptr) return nullptr;
  const uint64_t instruction = mach_instructionAddress(RegistersOfContext(context));
  return reinterpret_cast<const void*>(instruction);
}

}  // namespace CrashHandler::machine
