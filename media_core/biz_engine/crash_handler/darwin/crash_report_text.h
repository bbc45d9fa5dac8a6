// The text of a crash report. For Objective-C++ files.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_

#import <Foundation/Foundation.h>

#include <string>

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
// Now, as "YYYY-MM-dd HH:mm:ss SSS" in the C library's zone and the device's locale; the year is
// that of the week.
- (NSString*)getCurrentTimeFormat;
// The main bundle's display name, else its name, else empty; what is no string is described.
- (NSString*)getAppDisplayName;
// The machine's name for its hardware, such as "x86_64".
- (NSString*)getDeviceModelName;
@end

namespace CrashHandler {

// Makes the text's probes ready: the date's formatter, locale and zone, the bundle's list. The
// application's name. For installation. (The call is also what brings the methods above out of a
// static library: a category has no symbol that others refer to.)
std::string PrepareReportText();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_REPORT_TEXT_H_
