// What the host has asked for in crash_companion.h, for the dying side: all of it may run in a
// signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_COMPANION_SETTINGS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_COMPANION_SETTINGS_H_

#include "media_core/biz_engine/crash_handler/crash_companion.h"
#include "media_core/biz_engine/crash_handler/machine/host/system_facts.h"

namespace CrashHandler {

bool WantsCompanions();
bool WantsCompanionsOfHostCrashes();

// The functions are null where there are no lines, or where their source's memory is gone.
CrashLogLines ReadableLogLines();

// As they were when companions were asked for first; empty before.
const machine::LastingFacts& KnownLastingFacts();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_COMPANION_SETTINGS_H_
