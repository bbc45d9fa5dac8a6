#include "media_core/biz_engine/crash_handler/darwin/crash_preparation.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"
#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_rescue.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/plain_report.h"

namespace CrashHandler {
namespace {

// Address space only: pages that are never touched take no memory.
constexpr size_t kReserveBytes = size_t{8} << 20;

// The reserve's first byte; null when there is none. Never owned by an object on the heap: what
// gives it back may not use the heap.
std::atomic<void*> sReserve{nullptr};

void ReserveMemory() {
  if (sReserve.load() != nullptr) return;
  machine::ScratchMemory memory(kReserveBytes);
  sReserve.store(memory.Leak());
}

// An open null device, above the numbers of the standard streams; -1 when there is none.
constexpr int kLowestDescriptor = 3;
std::atomic<int> sDescriptor{-1};
dev_t sNullDevice;

void ReserveDescriptor() {
  if (sDescriptor.load() >= 0) return;
  const int opened = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (opened < 0) return;
  struct stat status;
  const int reserved = fcntl(opened, F_DUPFD_CLOEXEC, kLowestDescriptor);
  close(opened);
  if (reserved < 0 || fstat(reserved, &status) != 0) return;
  sNullDevice = status.st_rdev;
  sDescriptor.store(reserved);
}

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
    [[path stringByAppendingPathExtension:@"log"] UTF8String];
    [path dataUsingEncoding:NSUTF8StringEncoding];
    [path rangeOfString:@"frame"];
  }
}

void PrepareRescue() {
  @autoreleasepool {
    OruRTCCrashReport* report = [[[OruRTCCrashReport alloc] init] autorelease];
    PreparePlainReport([[report getAppDisplayName] UTF8String]);
  }
  machine::SetCrashRescue(&RescueReport);
}

}  // namespace

void PrepareForCrash() {
  PrepareBacktrace();
  PrepareLocalTime();
  PrepareFoundation();
  PrepareRescue();
  PrepareCallStacks();
  ReserveDescriptor();
  ReserveMemory();
  machine::PrepareScratchReserve();
}

void ReleaseCrashReserve() {
  machine::OpenScratchReserve();
  machine::ScratchMemory memory;
  memory.Adopt(sReserve.exchange(nullptr), kReserveBytes);
}

void ReleaseReservedDescriptor() {
  const int reserved = sDescriptor.exchange(-1);
  struct stat status;
  if (reserved < 0 || fstat(reserved, &status) != 0) return;
  // A host that closed all descriptors may have another file under the number.
  if (S_ISCHR(status.st_mode) && status.st_rdev == sNullDevice) close(reserved);
}

}  // namespace CrashHandler
