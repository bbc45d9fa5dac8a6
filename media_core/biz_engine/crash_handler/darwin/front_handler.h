// One signal handler in front of another's: the other's own faults go to him, the rest elsewhere.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FRONT_HANDLER_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FRONT_HANDLER_H_

#include <signal.h>

#include "media_core/biz_engine/crash_handler/crash_neighbours.h"

namespace CrashHandler {

// What holds for all signals: whose faults are the other's (besides those in code of no image; may
// be null), and where everything else goes.
void SetFrontRules(RuntimeFaultRule is_runtimes,
                   void (*others)(int signo, siginfo_t* info, void* context));

// Puts a handler in front of `behind`, which has a function. Fronts before others stay before them:
// who found one may pass a signal on to it. With the mask and flags of the one behind the system
// runs the front as it would run that: on the same stack, the same signals blocked. False when the
// system refuses.
bool PutInFront(int signo, const struct sigaction& behind);

bool IsFront(const struct sigaction& action);

// Whether the front was put before somebody for this signal, and all of that forgotten.
bool HasFront(int signo);
void ForgetFronts();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FRONT_HANDLER_H_
