// What a function of x86_64 with a frame pointer does first, and what stands before a return
// address: instructions' bytes in, facts out. May run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_PROLOGUE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_PROLOGUE_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// More than the longest beginning that is understood.
constexpr size_t kPrologueSize = 32;

// How far a function's frame pointer lies above its stack pointer.
struct FrameSize {
  uint64_t least = 0;
  // It may be as much more as aligning the stack pointer took; a multiple of 8.
  uint64_t slack = 0;
};

// That of a function behind these first instructions: "push %rbp; mov %rsp,%rbp", pushes of further
// registers, "and $-alignment,%rsp", "sub $size,%rsp". False when it begins in another way.
bool FrameSizeOfPrologue(const uint8_t (&code)[kPrologueSize], FrameSize* size);

// The longest call.
constexpr size_t kCallSize = 7;

// Whether the bytes, up to a return address, end in a call.
bool EndsInCall(const uint8_t (&code)[kCallSize]);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_PROLOGUE_H_
