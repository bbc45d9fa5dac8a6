// Code for this platform keeps frame pointers, its system libraries included: no tables are needed.
#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {
namespace {

// Functions without a symbol of their own count to the one before them.
bool HaveSameSymbol(uintptr_t one, uintptr_t other) {
  const uintptr_t addresses[] = {one, other};
  SymbolInformation found[2];
  Symbolizer().Resolve(addresses, found, 2);
  return found[0].dli_saddr != nullptr && found[0].dli_saddr == found[1].dli_saddr;
}

}  // namespace

void PrepareStackWalk() {}

size_t CaptureDamagedStack(void** /*frames*/, size_t /*room*/) { return 0; }

StackWalker::StackWalker() = default;

StackWalker::~StackWalker() = default;

bool StackWalker::Walk(const Registers& registers, KnownRegisters /*known*/, CallChain* chain) {
  WalkStart start = WalkStartOf(registers);
  KeepLinkOfFramelessFunction(&HaveSameSymbol, &start);
  WalkFramePointers(start, &mach_copyMem, chain);
  return true;
}

}  // namespace CrashHandler::machine
