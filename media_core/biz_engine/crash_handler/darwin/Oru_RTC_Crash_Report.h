// The report of one crash: whether the crash concerns the SDK, and the file it goes to. For
// Objective-C++ files.
//
// A report object is made and used on the crashing thread, once; nothing here is locked.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_ORU_RTC_CRASH_REPORT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_ORU_RTC_CRASH_REPORT_H_

#import <Foundation/Foundation.h>
#include <signal.h>

// What a report is made from.
@interface OruRTCCrashConfig : NSObject {
  uint32_t _crashThreadId;
  NSMutableArray* _crashFilter;
  NSString* _appId;
  NSString* _sessionId;
  NSString* _sdkVersion;
  NSString* _crashFileSavePath;
  NSString* _infoString;
}
// Number of the crashing thread: its Mach port name, the kernel's thread id on Linux.
@property(nonatomic, assign) uint32_t crashThreadId;
// Substrings of the SDK's symbols; may be nil.
@property(nonatomic, strong) NSMutableArray* crashFilter;
@property(nonatomic, copy) NSString* appId;
@property(nonatomic, copy) NSString* sessionId;
@property(nonatomic, copy) NSString* sdkVersion;
@property(nonatomic, copy) NSString* crashFileSavePath;
// Free text for the report; may be nil.
@property(nonatomic, copy) NSString* infoString;
@end

@interface OruRTCCrashReport : NSObject {
  uint32_t _crashThreadId;
  OruRTCCrashConfig* _config;
  NSMutableArray* _crashFilterArray;
  NSMutableString* _infoString;
  NSString* _crashFloderPath;
}
@property(nonatomic, assign) uint32_t crashThreadId;
@property(nonatomic, strong) OruRTCCrashConfig* config;
// A crash with none of these in its symbols is not reported.
@property(nonatomic, strong) NSMutableArray* crashFilterArray;
// Stands at the report's end.
@property(nonatomic, strong) NSMutableString* infoString;
// Base directory of reports.
@property(nonatomic, copy) NSString* crashFloderPath;

// Copies what it needs and creates the directory (with missing ones above it) if nothing is there.
- (instancetype)initWithCrashConfig:(OruRTCCrashConfig*)config;
// Does nothing.
- (void)destroy;

// Duplicates are kept.
- (void)addCrashFilter:(NSString*)filter;
// Removes `filter` while walking the filters: when it is not the last one, the walk finds the array
// changed and the collection's exception is raised (after the removal).
- (void)removeCrashFilter:(NSString*)filter;
// Both count for file names made later.
- (void)updateAppId:(NSString*)appId;
- (void)updateSessionId:(NSString*)sessionId;
- (void)addCrashInfo:(NSString*)info;

// Whether one of the frames (frame 0 first) is the SDK's: its text contains a filter, does not name
// this module's handlers or report, and it is not frame 0. Logs the frames up to the first match.
- (BOOL)isSymbolsInclude:(NSArray*)symbols;

// Write the report of a crash that concerns the SDK; any other leaves no file. A report that cannot
// be written is lost without a message. One of the same kind and second is replaced. `info` and
// `context` are not used; a report made from symbols alone is a "MemoryError".
- (void)reportCrashWithException:(NSException*)exception;
- (void)reportCrashWithSignal:(int)signal
                         info:(siginfo_t*)info
                      context:(void*)context
                      symbols:(NSArray*)symbols;
- (void)reportCrashWithSymbols:(NSArray*)symbols;

// Takes over the configuration's path as base directory, creating it if nothing is there.
- (void)setupCrashSaveFloderPath;
// Path of the report file, in the SDK version's directory below the base (created if nothing is
// there). The name has the local time; `timestamp` is not used.
- (NSString*)getCrashFilePath:(NSString*)timestamp crashType:(NSString*)crashType;
@end

// The report's text (crash_report_text.mm).
//
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

class CrashHandlerProxyImpl;

// An autoreleased report for the calling thread, from the settings that the process's crash handler
// has at this moment (crash_handler_darwin.mm, where that handler is known).
OruRTCCrashReport* CreateOruRTCCrashReport();
// The same from a given handler's settings.
OruRTCCrashReport* CreateReportOfHandler(CrashHandlerProxyImpl* handler);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_ORU_RTC_CRASH_REPORT_H_
