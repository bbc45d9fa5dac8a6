#include <algorithm>

#include "bench/crash/stack_host.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"

void PrepareStack(const char* /*program*/) { CrashHandler::PrepareCallStacks(); }

size_t NameStack(std::string* text) {
  *text += CrashHandler::TextOfThread(CrashHandler::machine::CurrentThreadNumber());
  // Less the line of the thread and the empty one.
  return static_cast<size_t>(std::count(text->begin(), text->end(), '\n')) - 2;
}
