// What is set aside at installation for a crash: stacks, address space, a file descriptor.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_RESERVE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_RESERVE_H_

#include <cstddef>

namespace CrashHandler {

// A piece of memory with a page below it that nobody may touch. Only what is used of it takes
// memory.
struct CrashStack {
  char* bottom = nullptr;  // null when there is none
  size_t size = 0;

  bool Holds(const void* address) const {
    const auto* const byte = static_cast<const char*>(address);
    return bottom != nullptr && byte >= bottom && byte < bottom + size;
  }
};

// The stacks of a process, for the life of it.
struct CrashStacks {
  CrashStack crash;    // handles a crash
  CrashStack faults;   // for faults of that handling
  CrashStack refusal;  // logs another crash meanwhile
};

// What could not be set aside; a crash then goes without.
struct MissingReserve {
  bool memory = false;
  bool descriptor = false;
};

// For installation; again is the same, but for the descriptor and the memory that a crash has used.
MissingReserve PrepareCrashReserve();

// May run in a signal handler.
const CrashStacks& ReservedStacks();

// Gives back memory that was set aside for the report, so that a process that has used up what it
// may have can still be reported, and a descriptor, so that one with none free can still be looked
// into; once. May run in a signal handler.
void OpenCrashReserve();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_RESERVE_H_
