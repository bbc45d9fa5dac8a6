// A bound on the time that handling a crash may take.
//
// Handling a crash allocates, takes locks and calls the host; the crash may have left all of that
// unusable. A thread of the module's own watches (machine/threads/helper_thread.h): it needs no
// signal, no lock and no allocation, so it works when every other thread is frozen or waits for
// every signal there is. Should there be no such thread, or should it be stuck too, the kernel's
// timer kills the process (Linux).
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_DEADLINE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_DEADLINE_H_

namespace CrashHandler {

// The time for the ordinary way, and the time for everything: with what ending the process takes
// (releasing memory, writing a core file), below 10 seconds.
constexpr int kCrashRescueMs = 6000;
constexpr int kCrashDeadlineMs = 8000;

// What happens when time runs out, on the helper thread.
struct CrashDeadline {
  // When the time for the ordinary way is over; false when the end has to wait until all of the
  // time is over.
  bool (*rescue)();
  // Does not return.
  void (*end)();
  // Whether the process may go on when all is well. Else, when the ordinary way takes long, its
  // other threads are put behind the crash's, for good.
  bool may_be_survived = false;
};

// Starts the deadline; it runs until StopCrashDeadline, which does nothing without one. One at a
// time, on one thread. False when nothing bounds the time.
bool StartCrashDeadline(const CrashDeadline& deadline);
void StopCrashDeadline();

// The time for the ordinary way, in milliseconds, of deadlines started from now on.
void SetCrashRescueTimeForTesting(int milliseconds);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_DEADLINE_H_
