// What a function of x86_64 with a frame pointer does first, and what stands before a return
// address: instructions' bytes in, facts out. May run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_PROLOGUE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_PROLOGUE_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// More than the longest beginning that is understood.
constexpr size_t kPrologueSize = 32;

// How far the function's frame pointer lies above its stack pointer, behind these first
// instructions: "push %rbp; mov %rsp,%rbp", pushes of further registers, "sub $size,%rsp". False
// when the function begins in another way.
bool FrameSizeOfPrologue(const uint8_t (&code)[kPrologueSize], uint64_t* size);

// The longest call.
constexpr size_t kCallSize = 7;

// Whether the bytes, up to a return address, end in a call.
bool EndsInCall(const uint8_t (&code)[kCallSize]);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_PROLOGUE_H_
