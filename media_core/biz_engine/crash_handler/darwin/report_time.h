// The time in a crash report's header.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_REPORT_TIME_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_REPORT_TIME_H_

#import <Foundation/Foundation.h>

namespace CrashHandler {

// Now, as "YYYY-MM-dd HH:mm:ss SSS" in the C library's zone and the device's locale; autoreleased.
// Any thread may call it.
NSString* CurrentTimeText();

// Makes Foundation's formatter, which takes longer than the rest of the header; it is kept for the
// calls of CurrentTimeText, while zone and locale stay. For installation.
void PrepareReportTime();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_REPORT_TIME_H_
