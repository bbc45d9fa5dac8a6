// What other parts of the process hold in memory and a crash would take with it: the events of a
// running trace capture, where the program has the runtime base.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_FLUSH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_FLUSH_H_

namespace CrashHandler {

// Looks for the runtime base by the name that it exports: this library does not need it. A program
// that links it statically has to export its names, which crash capture asks for anyway. For
// installation.
void PrepareCrashFlush();

// Has it write what it holds; waits a fraction of a second at most. The capture ends with it, so
// this is for a crash that ends the process. May run in a signal handler or on the helper thread.
void FlushBeforeTheEnd();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_FLUSH_H_
