#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"

#include <string>

#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"
#include "media_core/biz_engine/crash_handler/darwin/exception_stack.h"
#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/darwin/report_time.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "media_core/biz_engine/crash_handler/report/report_words.h"

namespace {

constexpr size_t kMachineNameSize = 256;

// Nil when there is none. Whatever the bundle has there is shown as text.
NSString* BundleValue(NSString* key) {
  id const value = [[[NSBundle mainBundle] infoDictionary] objectForKey:key];
  return value != nil ? [NSString stringWithFormat:@"%@", value] : nil;
}

NSString* Word(const char* word) { return [NSString stringWithUTF8String:word]; }

void AppendField(NSMutableString* text, const char* label, NSString* value) {
  [text appendFormat:@"%s%@\n", label, value];
}

void AppendCrashThread(NSMutableString* text, NSArray* symbols) {
  [text appendString:Word(CrashHandler::kFramesTitle)];
  for (NSString* symbol in symbols) [text appendFormat:@"%@\n", symbol];
  [text appendString:@"\n"];
}

}  // namespace

@interface OruRTCCrashReport (ReportSections)
- (void)appendThreadsImagesAndInfoTo:(NSMutableString*)text;
@end

@implementation OruRTCCrashReport (ReportSections)
- (void)appendThreadsImagesAndInfoTo:(NSMutableString*)text {
  [text appendString:Word(CrashHandler::kThreadsTitle)];
  const std::string stacks =
      CrashHandler::TextOfAllThreads({[](void*) { CrashHandler::DraftReport(); }, nullptr});
  [text appendString:CrashHandler::TextFromBytes(stacks)];
  [text appendString:@"\n"];
  [text appendString:Word(CrashHandler::kImagesTitle)];
  [text appendString:[self generateImages]];
  [text appendString:@"\n"];
  [text appendString:Word(CrashHandler::kInfoTitle)];
  if (self.infoString != nil) [text appendString:self.infoString];
  [text appendString:@"\n"];
}
@end

@implementation OruRTCCrashReport (ReportText)
- (NSString*)generateReporterWithException:(NSException*)exception {
  NSMutableString* text = [NSMutableString string];
  [text appendString:[self generateCommonString]];
  [text appendString:@"\n"];
  [text appendString:Word(CrashHandler::kExceptionTitle)];
  [text appendFormat:@"%s%@%s%@%s\n", CrashHandler::kExceptionName, [exception name],
                     CrashHandler::kExceptionReason, [exception reason],
                     CrashHandler::kExceptionEnd];
  AppendCrashThread(text, CrashHandler::ExceptionStackSymbols(exception));
  [self appendThreadsImagesAndInfoTo:text];
  return text;
}

- (NSString*)generateReporterWithSignal:(int)signal symbols:(NSArray*)symbols {
  (void)signal;
  NSMutableString* text = [NSMutableString string];
  [text appendString:[self generateCommonString]];
  [text appendString:@"\n"];
  AppendCrashThread(text, symbols);
  [self appendThreadsImagesAndInfoTo:text];
  return text;
}

- (NSString*)generateCommonString {
  NSString* directory = self.crashFloderPath != nil ? self.crashFloderPath : @"";
  NSMutableString* text = [NSMutableString string];
  AppendField(text, CrashHandler::kModelLabel, [self getDeviceModelName]);
  AppendField(text, CrashHandler::kProcessLabel, [self getAppDisplayName]);
  AppendField(text, CrashHandler::kPathLabel, directory);
  AppendField(text, CrashHandler::kCodeTypeLabel, [self getCPUType]);
  AppendField(text, CrashHandler::kTimeLabel, [self getCurrentTimeFormat]);
  [text appendFormat:@"%s%d\n", CrashHandler::kThreadLabel, static_cast<int>(self.crashThreadId)];
  return text;
}

- (NSString*)generateImages {
  return CrashHandler::TextFromBytes(CrashHandler::machine::ImageListText());
}

- (NSString*)getCPUType {
  return [NSString stringWithUTF8String:CrashHandler::machine::HostCpuTypeName()];
}

- (NSString*)getCurrentTimeFormat {
  return [NSString stringWithFormat:@"%@", CrashHandler::CurrentTimeText()];
}

- (NSString*)getAppDisplayName {
  NSString* name = BundleValue(@"CFBundleDisplayName");
  if (name == nil) name = BundleValue(@"CFBundleName");
  return name != nil ? name : @"";
}

- (NSString*)getDeviceModelName {
  char name[kMachineNameSize];
  CrashHandler::machine::MachineName(name, sizeof name);
  return CrashHandler::TextFromBytes(name);
}
@end

namespace CrashHandler {

std::string PrepareReportText() {
  PrepareReportTime();
  OruRTCCrashReport* report = [[[OruRTCCrashReport alloc] init] autorelease];
  [report generateCommonString];
  return BytesOfText([report getAppDisplayName]);
}

}  // namespace CrashHandler
