// What handling a crash needs for the first time, done beforehand: the first call of many a library
// function loads code, allocates tables or reads files, which a crashed process may not survive.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_PREPARATION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_PREPARATION_H_

namespace CrashHandler {

// Call at installation, on an ordinary thread. Creates no file. Where memory or descriptors are
// missing it does what it can and logs what is missing: a crash may then go without a report.
void PrepareForCrash();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_PREPARATION_H_
