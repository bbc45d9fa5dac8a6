// Which of the eight signals an installation leaves alone (crash_neighbours.h).
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_SIGNAL_CHOICE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_SIGNAL_CHOICE_H_

namespace CrashHandler {

// What the host has chosen counts from here on. For installation.
void ApplySignalChoice();

// Of the choice last applied; false for every signal before. Async-signal-safe.
bool IsSignalLeftAlone(int signo);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_SIGNAL_CHOICE_H_
