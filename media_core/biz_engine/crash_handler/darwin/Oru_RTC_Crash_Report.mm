#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"

#include <time.h>

#include <string>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"
#include "media_core/biz_engine/crash_handler/dying/crash_rescue.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/report/crash_report_file.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

#define LOG_PROGRESS(...)                                                                  \
  CrashHandler::PrintLog(CrashHandler::kCrashLogInfo, "Crash_Handler", __FILE__, __LINE__, \
                         __VA_ARGS__)

namespace {

// The module's own frames, which carry the filter's word too.
NSString* const kOwnNames[] = {@"OruRTCCrashReport", @"OruRTCTerminateCatchHandler",
                               @"OruRTCSignalCatchHandler", @"OruRTCExceptionHandler"};

bool Contains(NSString* text, NSString* part) {
  return [text rangeOfString:part options:NSLiteralSearch].location != NSNotFound;
}

bool IsOwnFrame(NSString* symbol) {
  for (NSString* name : kOwnNames) {
    if (Contains(symbol, name)) return true;
  }
  return false;
}

NSString* TextOrFallback(const std::string& bytes, NSString* fallback) {
  return bytes.empty() ? fallback : CrashHandler::TextFromBytes(bytes.data(), bytes.size());
}

// Not the file system representation: that raises where the locale has no room for a character.
const char* PathBytes(NSString* path) {
  const char* bytes = [path UTF8String];
  return bytes != nullptr ? bytes : "";
}

NSString* EmptyIfNil(NSString* text) { return text != nil ? text : @""; }

// The ordinary way's word is the last: nothing is rescued of a crash that it passes over.
bool ConcernsSdk(OruRTCCrashReport* report, NSArray* symbols) {
  if ([report isSymbolsInclude:symbols]) return true;
  CrashHandler::ForgetReport();
  return false;
}

NSString* CrashTypeWord(int kind) {
  const std::string word =
      CrashHandler::GetCrashTypeString(static_cast<CrashHandler::CrashType>(kind));
  return [NSString stringWithUTF8String:word.c_str()];
}

}  // namespace

@implementation OruRTCCrashConfig
@synthesize crashThreadId = _crashThreadId;
@synthesize crashFilter = _crashFilter;
@synthesize appId = _appId;
@synthesize sessionId = _sessionId;
@synthesize sdkVersion = _sdkVersion;
@synthesize crashFileSavePath = _crashFileSavePath;
@synthesize infoString = _infoString;

- (void)dealloc {
  [_crashFilter release];
  [_appId release];
  [_sessionId release];
  [_sdkVersion release];
  [_crashFileSavePath release];
  [_infoString release];
  [super dealloc];
}
@end

@interface OruRTCCrashReport ()
- (void)saveText:(NSString*)text toPath:(NSString*)path;
- (NSString*)newReportPathForKind:(int)kind;
@end

@implementation OruRTCCrashReport
@synthesize crashThreadId = _crashThreadId;
@synthesize config = _config;
@synthesize crashFilterArray = _crashFilterArray;
@synthesize infoString = _infoString;
@synthesize crashFloderPath = _crashFloderPath;

- (instancetype)initWithCrashConfig:(OruRTCCrashConfig*)config {
  self = [super init];
  if (self == nil) return nil;
  self.config = config;
  self.crashThreadId = config.crashThreadId;
  self.crashFilterArray = [NSMutableArray array];
  self.infoString = [NSMutableString string];
  [self setupCrashSaveFloderPath];
  if (config.crashFilter != nil) [self.crashFilterArray addObjectsFromArray:config.crashFilter];
  if (config.infoString != nil) [self.infoString appendString:config.infoString];
  return self;
}

- (void)dealloc {
  [_config release];
  [_crashFilterArray release];
  [_infoString release];
  [_crashFloderPath release];
  [super dealloc];
}

- (void)destroy {
}

- (void)addCrashFilter:(NSString*)filter {
  [self.crashFilterArray addObject:filter];
}

- (void)removeCrashFilter:(NSString*)filter {
  NSUInteger left = [self.crashFilterArray count];
  for (NSString* entry in self.crashFilterArray) {
    --left;
    if (![entry isEqualToString:filter]) continue;
    [self.crashFilterArray removeObject:filter];
    // Not every Foundation sees that a walk whose last entry was removed is over.
    if (left == 0) return;
  }
}

- (void)updateAppId:(NSString*)appId {
  self.config.appId = appId;
}

- (void)updateSessionId:(NSString*)sessionId {
  self.config.sessionId = sessionId;
}

- (void)addCrashInfo:(NSString*)info {
  [self.infoString appendString:info];
}

- (BOOL)isSymbolsInclude:(NSArray*)symbols {
  for (NSUInteger i = 0; i < [symbols count]; ++i) {
    NSString* symbol = [symbols objectAtIndex:i];
    const char* text = [symbol UTF8String];
    LOG_PROGRESS("Crash stack: %s", text != nullptr ? text : "");
    for (NSString* filter in self.crashFilterArray) {
      if (i == 0 || !Contains(symbol, filter) || IsOwnFrame(symbol)) continue;
      LOG_PROGRESS("OruRTCCrashReport::find sdk symbols");
      return YES;
    }
  }
  LOG_PROGRESS("OruRTCCrashReport::not find sdk symbols, ignore it");
  return NO;
}

- (void)reportCrashWithException:(NSException*)exception {
  if (!ConcernsSdk(self, [exception callStackSymbols])) return;
  NSString* path = [self newReportPathForKind:1];
  [self saveText:[self generateReporterWithException:exception] toPath:path];
}

- (void)reportCrashWithSignal:(int)signal
                         info:(siginfo_t*)info
                      context:(void*)context
                      symbols:(NSArray*)symbols {
  (void)info;
  (void)context;
  if (!ConcernsSdk(self, symbols)) return;
  NSString* path = [self newReportPathForKind:0];
  [self saveText:[self generateReporterWithSignal:signal symbols:symbols] toPath:path];
}

- (void)reportCrashWithSymbols:(NSArray*)symbols {
  if (!ConcernsSdk(self, symbols)) return;
  NSString* path = [self newReportPathForKind:2];
  [self saveText:[self generateReporterWithSignal:0 symbols:symbols] toPath:path];
}

- (NSString*)newReportPathForKind:(int)kind {
  const double milliseconds = [[NSDate date] timeIntervalSince1970] * 1000;
  NSString* timestamp = [NSString stringWithFormat:@"%.0f", milliseconds];
  return [self getCrashFilePath:timestamp crashType:CrashTypeWord(kind)];
}

- (void)saveText:(NSString*)text toPath:(NSString*)path {
  NSData* bytes = [text dataUsingEncoding:NSUTF8StringEncoding];
  const char* const name = PathBytes(path);
  CrashHandler::BeginReportFile();
  const bool written = CrashHandler::ReplaceFile(name, [bytes bytes], [bytes length]);
  CrashHandler::EndReportFile(written ? name : nullptr);
}

- (void)setupCrashSaveFloderPath {
  self.crashFloderPath = self.config.crashFileSavePath;
  CrashHandler::CreateDirectories(PathBytes(self.crashFloderPath));
}

- (NSString*)getCrashFilePath:(NSString*)timestamp crashType:(NSString*)crashType {
  (void)timestamp;
  NSString* directory =
      [self.crashFloderPath stringByAppendingPathComponent:EmptyIfNil(self.config.sdkVersion)];
  CrashHandler::CreateDirectories(PathBytes(directory));

  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  NSString* name = [NSString
      stringWithFormat:@"%@_%@_%@_%@_%4d-%02d-%02d-%02d-%02d-%02d",
                       [NSString stringWithUTF8String:CrashHandler::CrashDumpFilePrxfix.c_str()],
                       EmptyIfNil(self.config.appId), EmptyIfNil(self.config.sessionId), crashType,
                       local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                       local.tm_min, local.tm_sec];
  return [[directory stringByAppendingPathComponent:name] stringByAppendingPathExtension:@"log"];
}
@end

namespace CrashHandler {

OruRTCCrashReport* CreateOruRTCCrashReport() {
  DarwinCrashHandler* handler = DarwinCrashHandler::GetInstance();
  OruRTCCrashConfig* config = [[[OruRTCCrashConfig alloc] init] autorelease];
  config.crashThreadId = machine::CurrentThreadNumber();
  config.appId = TextOrFallback(handler->GetAppId(), @"Unknown-App");
  config.sessionId = TextOrFallback(handler->GetSessionId(), @"Unknown-Session");
  config.sdkVersion = TextOrFallback(handler->GetSDKVersion(), @"");
  config.crashFileSavePath = TextOrFallback(handler->CopyCrashDumpDirPath(), @"");
  config.crashFilter = [NSMutableArray arrayWithObject:@"OruRTC"];
  config.infoString = TextOrFallback(handler->GetExtraInfo(), nil);
  return [[[OruRTCCrashReport alloc] initWithCrashConfig:config] autorelease];
}

}  // namespace CrashHandler
