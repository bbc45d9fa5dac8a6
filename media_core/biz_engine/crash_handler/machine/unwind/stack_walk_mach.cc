// Code for this platform keeps frame pointers, its system libraries included: no tables are needed.
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {

void PrepareStackWalk() {}

size_t CaptureDamagedStack(void** /*frames*/, size_t /*room*/) { return 0; }

StackWalker::StackWalker() = default;

StackWalker::~StackWalker() = default;

void StackWalker::Walk(const Registers& registers, CallChain* chain) {
  WalkFramePointers(registers, &mach_copyMem, chain);
}

}  // namespace CrashHandler::machine
