#include "media_core/biz_engine/crash_handler/darwin/crash_preparation.h"

#include <execinfo.h>
#include <time.h>

#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"
#include "media_core/biz_engine/crash_handler/machine/images.h"
#include "media_core/biz_engine/crash_handler/machine/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads.h"

namespace CrashHandler {
namespace {

// Address space only: pages that are never touched take no memory.
constexpr size_t kReserveBytes = size_t{8} << 20;

machine::ScratchMemory* sReserve = nullptr;

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

// The date's formatter, locale and time zone; the bundle's list; strings, arrays and paths.
void PrepareFoundation() {
  @autoreleasepool {
    OruRTCCrashReport* report = [[[OruRTCCrashReport alloc] init] autorelease];
    [report generateCommonString];
    NSMutableArray* symbols = [NSMutableArray array];
    [symbols addObject:TextFromBytes("frame", 5)];
    NSString* path = [@"/" stringByAppendingPathComponent:[symbols objectAtIndex:0]];
    [[NSFileManager defaultManager] fileExistsAtPath:[path stringByAppendingPathExtension:@"log"]];
    [path dataUsingEncoding:NSUTF8StringEncoding];
    [path rangeOfString:@"frame"];
  }
}

}  // namespace

void PrepareForCrash() {
  PrepareBacktrace();
  PrepareLocalTime();
  PrepareFoundation();
  machine::PrepareThreads();
  machine::PrepareImages();
  if (sReserve == nullptr) sReserve = new machine::ScratchMemory(kReserveBytes);
}

void ReleaseCrashReserve() {
  delete sReserve;
  sReserve = nullptr;
}

}  // namespace CrashHandler
