// What a report and its companion tell of the crash itself. Plain data; the texts are whoever's who
// fills it in.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_FACTS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_FACTS_H_

#include <time.h>

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_number.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

// Why a signal came; for companions alone.
struct CrashCause {
  // 0 where the crash is no signal's.
  int signo = 0;
  // Not told where another reporter invites without it.
  bool has_code = false;
  int code = 0;
  bool has_address = false;
  uint64_t address = 0;
  machine::FaultAccess access = machine::FaultAccess::kUnknown;
  bool has_registers = false;
  machine::Registers registers = {};
  // Of a C++ exception: the mangled name of its type, and its words; null without one.
  const char* thrown_type = nullptr;
  const char* thrown_words = nullptr;
};

struct CrashFacts {
  CrashType kind = Signal;
  timespec time = {};
  machine::ThreadNumber thread = 0;
  // Of an uncaught Objective-C exception, else null; a reason may be null all the same.
  const char* exception_name = nullptr;
  const char* exception_reason = nullptr;
  // The crashed thread's addresses, innermost first; at most kMaxCrashFrames count.
  void* const* frames = nullptr;
  size_t frame_count = 0;
  // The one of them that the crash's signal interrupted, and the one at which a later signal
  // interrupted the report; null without one.
  const void* interrupted = nullptr;
  const void* interrupted_later = nullptr;
  CrashCause cause = {};
};

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_FACTS_H_
