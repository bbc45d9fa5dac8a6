// A process that exits while a crash is handled: it would take the report and the crash's signal
// with it, and look as if it had ended well.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_EXIT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_EXIT_H_

namespace CrashHandler {

// From now on `exit` and a return from `main` wait for another thread's report (crash_turn.h),
// twice: before what the process registered or made earlier is torn down, and when all of that is
// gone, as the teardown is what many a thread crashes from. Once a process is enough; more is the
// same.
void HoldExitDuringCrash();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_EXIT_H_
