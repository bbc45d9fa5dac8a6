#include "media_core/biz_engine/crash_handler/darwin/report_time.h"

#include <time.h>

#include <atomic>

namespace CrashHandler {
namespace {

// An NSDateFormatter that belongs to whoever has taken it out: no two threads use it at once.
std::atomic<void*> sSpareFormatter{nullptr};

// Gives what was there before.
NSDateFormatter* ExchangeSpare(NSDateFormatter* formatter) {
  return static_cast<NSDateFormatter*>(sSpareFormatter.exchange(formatter));
}

// The C library's zone, which the report's name has too. Foundation's own may be another.
NSInteger LocalOffset() {
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  return static_cast<NSInteger>(local.tm_gmtoff);
}

NSDateFormatter* NewFormatter(NSInteger offset) {
  NSDateFormatter* formatter = [[NSDateFormatter alloc] init];
  [formatter setTimeZone:[NSTimeZone timeZoneForSecondsFromGMT:offset]];
  [formatter setDateFormat:@"YYYY-MM-dd HH:mm:ss SSS"];
  return formatter;
}

// Zone and locale may have changed since it was made.
bool Serves(NSDateFormatter* formatter, NSInteger offset) {
  return formatter != nil && [[formatter timeZone] secondsFromGMT] == offset &&
         [[formatter locale] isEqual:[NSLocale currentLocale]];
}

}  // namespace

void PrepareReportTime() {
  // ICU makes a formatter's parts for good at their third use.
  for (int use = 0; use < 3; ++use) CurrentTimeText();
}

NSString* CurrentTimeText() {
  const NSInteger offset = LocalOffset();
  NSDateFormatter* formatter = ExchangeSpare(nil);
  if (!Serves(formatter, offset)) {
    [formatter release];
    formatter = NewFormatter(offset);
  }
  NSString* text = [formatter stringFromDate:[NSDate date]];
  [ExchangeSpare(formatter) release];
  return text;
}

}  // namespace CrashHandler
