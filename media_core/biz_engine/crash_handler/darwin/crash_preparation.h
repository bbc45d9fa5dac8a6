// What handling a crash needs for the first time, done beforehand: the first call of many a library
// function loads code, allocates tables or reads files, which a crashed process may not survive.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_PREPARATION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_PREPARATION_H_

namespace CrashHandler {

// Call at installation, on an ordinary thread. Logs nothing and creates no file.
void PrepareForCrash();

// Gives back memory that was set aside for the report, so that a process that has used up what it
// may have can still be reported; once. May run in a signal handler.
void ReleaseCrashReserve();

// Gives back a file descriptor that was set aside, so that a process with none free can still be
// looked into and reported; once. May run in a signal handler.
void ReleaseReservedDescriptor();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_PREPARATION_H_
