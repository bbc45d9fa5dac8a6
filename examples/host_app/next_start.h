// What an app does at its start about the run before.
#ifndef EXAMPLES_HOST_APP_NEXT_START_H_
#define EXAMPLES_HOST_APP_NEXT_START_H_

#include <memory>
#include <string>

#include "examples/host_app/options.h"
#include "media_core/biz_engine/crash_handler/tools/crash_session.h"

namespace host_app {

// Says on standard error how the last run ended, sends the pending reports where the options name a
// command, removes those that were sent, and keeps the others within bounds. A real app asks its
// user first, and does the sending on a thread of its own.
void LookBack(const Options& options, const std::string& dump_dir);

// The record of this run, until it is destroyed; null without application and session id.
std::unique_ptr<CrashHandler::CrashSession> RecordSession(const Options& options,
                                                          const std::string& dump_dir,
                                                          const std::string& log_dir);

}  // namespace host_app

#endif  // EXAMPLES_HOST_APP_NEXT_START_H_
