#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {

void KeepLinkOfFramelessFunction(SameFunction same, WalkStart* start) {
  // A return address points behind its call.
  if (start->link != 0 && same(start->instruction, start->link - 1)) start->link = 0;
}

void WalkFramePointers(const WalkStart& start, MemoryReader read, CallChain* chain) {
  chain->length = 0;
  if (start.instruction == 0) {
    chain->status = ChainStatus::kNoInstruction;
    return;
  }
  FrameEntry frame;
  if (start.frame == 0 ||
      read(reinterpret_cast<const void*>(start.frame), &frame, sizeof(frame)) != 0) {
    chain->status = ChainStatus::kNoFrame;
    return;
  }
  chain->status = ChainStatus::kComplete;
  chain->entries[0] = start.instruction;
  size_t length = 1;
  if (start.link != 0 && start.link != (frame.return_address & start.return_address_bits)) {
    chain->entries[length++] = start.link;
  }
  for (; length < kMaxThreadFrames; ++length) {
    chain->entries[length] = frame.return_address & start.return_address_bits;
    if (chain->entries[length] == 0 || frame.previous == 0) break;
    // A failed read may leave half an entry behind; nothing of it is used.
    if (read(reinterpret_cast<const void*>(frame.previous), &frame, sizeof(frame)) != 0) break;
  }
  chain->length = length;
}

}  // namespace CrashHandler::machine
