#include "media_core/biz_engine/crash_handler/darwin/crash_preparation.h"

#include <execinfo.h>
#include <time.h>

#include <string>

#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"
#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/darwin/foundation_use.h"
#include "media_core/biz_engine/crash_handler/dying/crash_flush.h"
#include "media_core/biz_engine/crash_handler/dying/crash_guard.h"
#include "media_core/biz_engine/crash_handler/dying/crash_reserve.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/streamed_report.h"
#include "media_core/biz_engine/crash_handler/tools/crash_log.h"

namespace CrashHandler {
namespace {

// The first call loads the unwinder.
void PrepareBacktrace() {
  void* frame = nullptr;
  backtrace(&frame, 1);
}

// Reads the time zone's file.
void PrepareLocalTime() {
  tzset();
  const time_t now = time(nullptr);
  tm parts;
  localtime_r(&now, &parts);
}

// Besides the report's own text: strings and arrays.
void PrepareFoundation() {
  @autoreleasepool {
    PrepareStreamedReport(PrepareReportText().c_str());
    NSMutableArray* symbols = [NSMutableArray array];
    [symbols addObject:TextFromBytes("frame")];
    BytesOfText([symbols objectAtIndex:0]);
    [[symbols objectAtIndex:0] rangeOfString:@"frame"];
  }
}

}  // namespace

void PrepareForCrash() {
  // First, while there is memory.
  const MissingReserve missing = PrepareCrashReserve();
  PrepareBacktrace();
  PrepareLocalTime();
  PrepareCrashFlush();
  // The zone, whatever becomes of Foundation.
  PrepareStreamedReport("");
  // Without memory Foundation does not only raise: it faults. Where it has failed once it may end
  // the process at the next try.
  static bool failed = false;
  const bool has_foundation =
      !missing.memory && !failed && IsFoundationUsable() && RunWithoutExceptions(PrepareFoundation);
  if (!missing.memory && !has_foundation) failed = true;
  SetOrdinaryReportPossible(has_foundation);
  const bool has_stacks = RunWithoutExceptions(PrepareCallStacks);
  if (missing.memory) ORU_CRASH_LOG_PROBLEM("crash preparation: memory is missing");
  if (missing.descriptor) ORU_CRASH_LOG_PROBLEM("crash preparation: a file descriptor is missing");
  if (!has_foundation) ORU_CRASH_LOG_PROBLEM("crash preparation: Foundation fails");
  if (!has_stacks) ORU_CRASH_LOG_PROBLEM("crash preparation: call stacks fail");
}

}  // namespace CrashHandler
