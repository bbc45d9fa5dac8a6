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

size_t WalkWhole(const Registers& registers, void** frames, size_t room) {
  WalkStart start = WalkStartOf(registers);
  KeepLinkOfFramelessFunction(&HaveSameSymbol, &start);
  size_t count = 0;
  const auto add = [&](uint64_t address) {
    if (count < room) frames[count++] = reinterpret_cast<void*>(address);
  };
  add(start.instruction);
  if (start.link != 0) add(start.link);
  FrameEntry frame = {start.frame, 0};
  for (uintptr_t last = 0; count < room && frame.previous > last;) {
    last = frame.previous;
    if (mach_copyMem(reinterpret_cast<const void*>(last), &frame, sizeof(frame)) != 0) break;
    const uint64_t caller = frame.return_address & start.return_address_bits;
    if (caller == 0) break;
    if (last != start.frame || caller != start.link) add(caller);
  }
  return count;
}

StackWalker::StackWalker() = default;

StackWalker::~StackWalker() = default;

bool StackWalker::Walk(const Registers& registers, KnownRegisters /*known*/, CallChain* chain) {
  WalkStart start = WalkStartOf(registers);
  KeepLinkOfFramelessFunction(&HaveSameSymbol, &start);
  WalkFramePointers(start, &mach_copyMem, chain);
  return true;
}

}  // namespace CrashHandler::machine
