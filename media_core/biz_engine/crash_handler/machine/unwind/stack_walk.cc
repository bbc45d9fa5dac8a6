#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {

namespace {

// What the compiler's prologue leaves at a frame pointer.
struct FrameEntry {
  uintptr_t previous;
  uintptr_t return_address;
};

}  // namespace

void WalkFramePointers(const Registers& registers, MemoryReader read, CallChain* chain) {
  chain->length = 0;
  if (mach_instructionAddress(registers) == 0) {
    chain->status = ChainStatus::kNoInstruction;
    return;
  }
  FrameEntry frame;
  const auto* source = reinterpret_cast<const void*>(mach_framePointer(registers));
  if (mach_framePointer(registers) == 0 || read(source, &frame, sizeof(frame)) != 0) {
    chain->status = ChainStatus::kNoFrame;
    return;
  }
  chain->status = ChainStatus::kComplete;
  chain->entries[0] = mach_instructionAddress(registers);
  size_t length = 1;
  for (; length < kMaxThreadFrames; ++length) {
    chain->entries[length] = frame.return_address;
    if (frame.return_address == 0 || frame.previous == 0) break;
    // A failed read may leave half an entry behind; nothing of it is used.
    if (read(reinterpret_cast<const void*>(frame.previous), &frame, sizeof(frame)) != 0) break;
  }
  chain->length = length;
}

}  // namespace CrashHandler::machine
