// From a thread's registers to its call chain.
//
// May run in a signal handler: no heap, no locks, no direct reads of the walked memory.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_STACK_WALK_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_STACK_WALK_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler::machine {

enum class ChainStatus : uint8_t {
  kComplete,       // entries[0 .. length) are valid, length is at least 1
  kNoThreadState,  // the registers could not be read
  kNoInstruction,  // the instruction pointer is 0
  kNoFrame,        // the frame pointer is 0 or does not point to readable memory
};

// A call chain, innermost first: entry 0 is the instruction pointer, the others return addresses.
// The outermost frame is left out.
struct CallChain {
  uintptr_t entries[kMaxThreadFrames];
  size_t length;
  ChainStatus status;
};

// Copies `count` bytes from `source`; 0 when it could, as mach_copyMem does.
using MemoryReader = int (*)(const void* source, void* destination, size_t count);

// Where a walk begins, whatever the processor.
struct WalkStart {
  uint64_t instruction;
  uint64_t frame;
  uint64_t link;  // where the innermost call returns to; 0: the processor keeps that on the stack
  uint64_t return_address_bits;  // the others of a stored return address are not part of it
};

// What the compiler's prologue leaves at a frame pointer.
struct FrameEntry {
  uintptr_t previous;
  uintptr_t return_address;
};

template <typename ProcessorRegisters>
WalkStart WalkStartOf(const ProcessorRegisters& registers) {
  return {mach_instructionAddress(registers), mach_framePointer(registers),
          mach_linkRegister(registers), ReturnAddressBits(registers)};
}

// Whether two addresses of code are in one function.
using SameFunction = bool (*)(uintptr_t one, uintptr_t other);

// Drops the link register unless it is the way out of a function that has no frame of its own
// (yet): in one with a frame it is left from an earlier call, so points into that same function.
// `start` is a walk's.
void KeepLinkOfFramelessFunction(SameFunction same, WalkStart* start);

// The walk over saved frame pointers. At each frame the caller's frame pointer and the return
// address are read as one 16-byte entry through `read`. The walk ends, without counting the entry
// just stored, when the return address or the saved frame pointer is 0 or the next entry cannot be
// read; it ends with a full chain when there is no more room. A chain that loops fills it. A link
// that is not 0 comes before the frames' return addresses, unless the first of them is the same.
void WalkFramePointers(const WalkStart& start, MemoryReader read, CallChain* chain);

// Does what the first walk would otherwise do (mapping memory). Call it at installation.
void PrepareStackWalk();

// The calling function's own stack, itself first, where it is too damaged for `backtrace`: the way
// leads through an address that is no code, or ends early. The system's function reads such
// addresses and faults. Writes at most `room` addresses and returns how many; 0 when the stack is
// sound (and always on macOS, whose `backtrace` stays within the stack).
size_t CaptureDamagedStack(void** frames, size_t room);

// All frames of a thread that stands at these registers, innermost first: the instruction pointer,
// then return addresses, the outermost one included. Writes at most `room` addresses and returns
// how many.
size_t WalkWhole(const Registers& registers, void** frames, size_t room);

// Walks many stacks of one moment; what it read of code and unwind tables it remembers.
class StackWalker {
 public:
  StackWalker();
  ~StackWalker();
  StackWalker(const StackWalker&) = delete;
  StackWalker& operator=(const StackWalker&) = delete;

  // The platform's way: frame pointers on macOS; on Linux the unwind tables of the loaded images,
  // and frame pointers where the tables say nothing. There the chain has at least the instruction
  // pointer, wherever that points. False when registers that are not known would lead further.
  bool Walk(const Registers& registers, KnownRegisters known, CallChain* chain);

 private:
  ScratchMemory memory_;  // the platform's state
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_STACK_WALK_H_
