// Files in a process that has no descriptor left.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_OPEN_FILE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_OPEN_FILE_H_

#include <sys/types.h>

#include <cstddef>

namespace CrashHandler::machine {

// As open(). When the process has as many files open as its limit allows, the limit is raised for
// the moment of the call, as far as the process may do that itself: a descriptor that was kept for
// this would be taken by whichever thread ran out of them. May run in a signal handler.
int OpenFile(const char* path, int flags, mode_t mode = 0);

// Reads a file from its start, cut to the room, with a terminating zero. False, and "", when it
// gives nothing. May run in a signal handler.
bool ReadFileStart(const char* path, char* text, size_t room);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_OPEN_FILE_H_
