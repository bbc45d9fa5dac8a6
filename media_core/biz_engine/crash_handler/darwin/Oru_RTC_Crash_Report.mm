#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"

#include "media_core/biz_engine/crash_handler/crash_handler_proxy_impl.h"
#include "media_core/biz_engine/crash_handler/darwin/exception_stack.h"
#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/report/companion_settings.h"
#include "media_core/biz_engine/crash_handler/report/report_file.h"
#include "media_core/biz_engine/crash_handler/report/report_place.h"
#include "media_core/biz_engine/crash_handler/report/report_words.h"
#include "media_core/biz_engine/crash_handler/tools/crash_log.h"

namespace {

using CrashHandler::BytesOfText;
using CrashHandler::TextFromBytes;

bool Contains(NSString* text, NSString* part) {
  return [text rangeOfString:part options:NSLiteralSearch].location != NSNotFound;
}

bool IsOwnFrame(NSString* symbol) {
  for (const char* const name : CrashHandler::kOwnFrameNames) {
    if (Contains(symbol, [NSString stringWithUTF8String:name])) return true;
  }
  return false;
}

NSString* TextOrFallback(const std::string& bytes, const char* fallback) {
  return TextFromBytes(bytes.empty() ? fallback : bytes);
}

// The default folder, "" where HOME names none.
class DefaultDir {
 public:
  DefaultDir() {
    if (!CrashHandler::DefaultDumpDir(path_, sizeof path_)) path_[0] = '\0';
  }
  const char* path() const { return path_; }

 private:
  CrashHandler::ReportPath path_;
};

bool WriteWhole(const std::string& bytes, const std::string& path) {
  CrashHandler::ReportFile file;
  if (path.empty() || !file.Open(path.c_str())) return false;
  file.Write(bytes.data(), bytes.size());
  return CrashHandler::CommitReportFile(&file, path.c_str());
}

CrashHandler::machine::CivilTime LocalTime() {
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  const auto part = [](int value) { return static_cast<unsigned>(value); };
  return {static_cast<uint64_t>(local.tm_year) + 1900,
          part(local.tm_mon) + 1,
          part(local.tm_mday),
          part(local.tm_hour),
          part(local.tm_min),
          part(local.tm_sec)};
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
- (BOOL)concernsSdk:(NSArray*)symbols kind:(CrashHandler::CrashType)kind;
- (void)saveText:(NSString*)text toPath:(NSString*)path;
- (NSString*)newReportPathForKind:(CrashHandler::CrashType)kind;
- (NSString*)pathOfDueReport:(CrashHandler::CrashType)kind;
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
    ORU_CRASH_LOG_PROGRESS("Crash stack: %s", BytesOfText(symbol).c_str());
    for (NSString* filter in self.crashFilterArray) {
      if (i == 0 || !Contains(symbol, filter) || IsOwnFrame(symbol)) continue;
      ORU_CRASH_LOG_PROGRESS("OruRTCCrashReport::find sdk symbols");
      return YES;
    }
  }
  ORU_CRASH_LOG_PROGRESS("OruRTCCrashReport::not find sdk symbols, ignore it");
  return NO;
}

- (void)reportCrashWithException:(NSException*)exception {
  NSArray* symbols = CrashHandler::ExceptionStackSymbols(exception);
  if (![self concernsSdk:symbols kind:CrashHandler::Exception]) return;
  NSString* path = [self pathOfDueReport:CrashHandler::Exception];
  [self saveText:[self generateReporterWithException:exception] toPath:path];
}

- (void)reportCrashWithSignal:(int)signal
                         info:(siginfo_t*)info
                      context:(void*)context
                      symbols:(NSArray*)symbols {
  (void)info;
  (void)context;
  if (![self concernsSdk:symbols kind:CrashHandler::Signal]) return;
  NSString* path = [self pathOfDueReport:CrashHandler::Signal];
  [self saveText:[self generateReporterWithSignal:signal symbols:symbols] toPath:path];
}

- (void)reportCrashWithSymbols:(NSArray*)symbols {
  if (![self concernsSdk:symbols kind:CrashHandler::MemoryError]) return;
  NSString* path = [self pathOfDueReport:CrashHandler::MemoryError];
  [self saveText:[self generateReporterWithSignal:0 symbols:symbols] toPath:path];
}

// The ordinary way's word is the last: nothing is rescued of a crash that it passes over.
- (BOOL)concernsSdk:(NSArray*)symbols kind:(CrashHandler::CrashType)kind {
  if ([self isSymbolsInclude:symbols]) return YES;
  CrashHandler::ForgetReport();
  if (CrashHandler::WantsCompanionsOfHostCrashes()) {
    CrashHandler::TellOfHostCrash(BytesOfText([self newReportPathForKind:kind]).c_str());
  }
  return NO;
}

- (NSString*)newReportPathForKind:(CrashHandler::CrashType)kind {
  const double milliseconds = [[NSDate date] timeIntervalSince1970] * 1000;
  NSString* timestamp = [NSString stringWithFormat:@"%.0f", milliseconds];
  return [self getCrashFilePath:timestamp
                      crashType:TextFromBytes(CrashHandler::GetCrashTypeString(kind))];
}

- (NSString*)pathOfDueReport:(CrashHandler::CrashType)kind {
  NSString* path = [self newReportPathForKind:kind];
  CrashHandler::ReportGoesTo(BytesOfText(path).c_str());
  return path;
}

- (void)saveText:(NSString*)text toPath:(NSString*)path {
  const std::string bytes = BytesOfText(text);
  const std::string name = BytesOfText(path);
  CrashHandler::BeginReportFile();
  bool written = WriteWhole(bytes, name);
  if (!written && CrashHandler::RemoveDraft()) written = WriteWhole(bytes, name);
  CrashHandler::EndReportFile(written ? name.c_str() : nullptr);
}

- (void)setupCrashSaveFloderPath {
  self.crashFloderPath = self.config.crashFileSavePath;
  const std::string directory = BytesOfText(self.crashFloderPath);
  const DefaultDir default_dir;
  if (directory.empty() || !CrashHandler::MayUseDumpDir(directory.c_str(), default_dir.path())) {
    return;
  }
  CrashHandler::CreateDirectories(directory.c_str());
}

- (NSString*)getCrashFilePath:(NSString*)timestamp crashType:(NSString*)crashType {
  (void)timestamp;
  const std::string directory = BytesOfText(self.crashFloderPath);
  const std::string version = BytesOfText(self.config.sdkVersion);
  const std::string app = BytesOfText(self.config.appId);
  const std::string session = BytesOfText(self.config.sessionId);
  const std::string kind = BytesOfText(crashType);
  const DefaultDir default_dir;
  CrashHandler::ReportName name = {directory.c_str(), version.c_str(), app.c_str(),
                                   session.c_str(),   kind.c_str(),    LocalTime()};
  CrashHandler::machine::TextBuffer path;
  switch (CrashHandler::MakeReportPlace(&name, default_dir.path(), &path)) {
    case CrashHandler::ReportPlace::kAsked:
      break;
    case CrashHandler::ReportPlace::kDefault:
      ORU_CRASH_LOG_PROBLEM("crash report dir of %s is not ours, use default", version.c_str());
      break;
    case CrashHandler::ReportPlace::kNone:
      ORU_CRASH_LOG_PROBLEM("no crash report dir is ours");
      return @"";
  }
  return TextFromBytes(StringOf(path));
}
@end

namespace CrashHandler {

OruRTCCrashReport* CreateReportOfHandler(CrashHandlerProxyImpl* handler) {
  OruRTCCrashConfig* config = [[[OruRTCCrashConfig alloc] init] autorelease];
  config.crashThreadId = machine::CurrentThreadNumber();
  config.appId = TextOrFallback(handler->GetAppId(), kUnknownApp);
  config.sessionId = TextOrFallback(handler->GetSessionId(), kUnknownSession);
  config.sdkVersion = TextFromBytes(handler->GetSDKVersion());
  config.crashFileSavePath = TextFromBytes(handler->CopyCrashDumpDirPath());
  config.crashFilter = [NSMutableArray arrayWithObject:TextFromBytes(kSdkFilter)];
  const std::string extra_info = handler->GetExtraInfo();
  config.infoString = extra_info.empty() ? nil : TextFromBytes(extra_info);
  return [[[OruRTCCrashReport alloc] initWithCrashConfig:config] autorelease];
}

}  // namespace CrashHandler
