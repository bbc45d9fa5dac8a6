// The running program's own file. For Linux only; may run in a signal handler.
//
// By the process's link, which emulators and checking tools answer for the program that they run;
// where the main thread has ended only a thread's own link leads there.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_PROGRAM_FILE_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_PROGRAM_FILE_LINUX_H_

#include <cstddef>

namespace CrashHandler::machine {

// Opens it for reading, also when it was moved or deleted; -1 when it cannot be had.
int OpenProgramFile();

// Its path, cut to the room; "" when it cannot be had.
void ReadProgramPath(char* path, size_t room);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_PROGRAM_FILE_LINUX_H_
