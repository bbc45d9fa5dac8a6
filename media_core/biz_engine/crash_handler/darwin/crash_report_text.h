// The text of a crash report. For Objective-C++ files.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_

#import <Foundation/Foundation.h>

#include <cstddef>

#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"

// Every line ends in "\n". Nothing fails: what the system does not tell is an empty string.
@interface OruRTCCrashReport (ReportText)
// The whole report of an uncaught exception; its backtrace is the exception's own.
- (NSString*)generateReporterWithException:(NSException*)exception;
// The whole report of a signal or a failed allocation, with the frames in `symbols` (frame 0
// first). The signal's number is written nowhere.
- (NSString*)generateReporterWithSignal:(int)signal symbols:(NSArray*)symbols;
// The six header lines. The "Path" is the directory of reports, not the executable's.
- (NSString*)generateCommonString;
// One line a loaded image, in the loader's order.
- (NSString*)generateImages;
// "x86_64", "x86", "ARM", "ARM64", or "unSupport".
- (NSString*)getCPUType;
// Now, as "YYYY-MM-dd HH:mm:ss SSS" in the device's zone and locale; the year is that of the week.
- (NSString*)getCurrentTimeFormat;
// The main bundle's display name, else its name, else empty.
- (NSString*)getAppDisplayName;
// The machine's name for its hardware, such as "x86_64".
- (NSString*)getDeviceModelName;
@end

namespace CrashHandler {

// An autoreleased string of UTF-8 bytes; bytes that are not UTF-8 are taken as Latin-1, so that a
// path or a name in another encoding is never lost. Never nil.
NSString* TextFromBytes(const char* bytes, size_t length);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_
