// What the safe reads have beyond memory.h. For Linux only; may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_MEMORY_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_MEMORY_LINUX_H_

#include <cstddef>

struct iovec;

namespace CrashHandler::machine {

// Many pieces by one call where that can be: `from[i]` of this process to `to[i]`, which has the
// same length. True when all of them were copied.
bool CopyPieces(const struct iovec* from, const struct iovec* to, size_t count);

// The ways to read the own memory, the best first.
enum class MemoryWay {
  kCall,     // the system call for other processes' memory, on this one
  kFile,     // the process's memory as a file
  kChecked,  // directly, after the kernel has told for each page that it can be read
};

// The way that ChooseMemoryWay took. A read that the system refuses takes the next one.
MemoryWay CurrentMemoryWay();

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_MEMORY_LINUX_H_
