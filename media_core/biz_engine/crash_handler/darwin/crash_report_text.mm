#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"

#include <cstring>
#include <string>

#include "media_core/biz_engine/crash_handler/darwin/oru_rtc_call_stack.h"
#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"

namespace {

constexpr size_t kMachineNameSize = 256;

NSString* BundleValue(NSString* key) {
  return [[[NSBundle mainBundle] infoDictionary] objectForKey:key];
}

void AppendCrashThread(NSMutableString* text, NSArray* symbols) {
  [text appendString:@"Crash Thread Backtrace:\n"];
  for (NSString* symbol in symbols) [text appendFormat:@"%@\n", symbol];
  [text appendString:@"\n"];
}

}  // namespace

@interface OruRTCCrashReport (ReportSections)
- (void)appendThreadsImagesAndInfoTo:(NSMutableString*)text;
@end

@implementation OruRTCCrashReport (ReportSections)
- (void)appendThreadsImagesAndInfoTo:(NSMutableString*)text {
  [text appendString:@"All Thread Backtrace:\n"];
  [text appendString:[OruRTCCallStack backtraceOfAllThread]];
  [text appendString:@"\n"];
  [text appendString:@"Binary Images:\n"];
  [text appendString:[self generateImages]];
  [text appendString:@"\n"];
  [text appendString:@"UserCustomInfo:\n"];
  if (self.infoString != nil) [text appendString:self.infoString];
  [text appendString:@"\n"];
}
@end

@implementation OruRTCCrashReport (ReportText)
- (NSString*)generateReporterWithException:(NSException*)exception {
  NSMutableString* text = [NSMutableString string];
  [text appendString:[self generateCommonString]];
  [text appendString:@"\n"];
  [text appendString:@"Application Specific Information:\n"];
  [text appendFormat:@"*** Terminating app due to uncaught exception '%@', reason: '%@'\n",
                     [exception name], [exception reason]];
  [text appendString:@"\n"];
  AppendCrashThread(text, [exception callStackSymbols]);
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
  [text appendFormat:@"Harware Model:     %@\n", [self getDeviceModelName]];
  [text appendFormat:@"Process:           %@\n", [self getAppDisplayName]];
  [text appendFormat:@"Path:              %@\n", directory];
  [text appendFormat:@"Code Type:         %@\n", [self getCPUType]];
  [text appendFormat:@"Date/Time:         %@\n", [self getCurrentTimeFormat]];
  [text appendFormat:@"Crash Thread:      %d\n", static_cast<int>(self.crashThreadId)];
  return text;
}

- (NSString*)generateImages {
  const std::string lines = CrashHandler::machine::ImageListText();
  return CrashHandler::TextFromBytes(lines.data(), lines.size());
}

- (NSString*)getCPUType {
  return [NSString stringWithUTF8String:CrashHandler::machine::HostCpuTypeName()];
}

- (NSString*)getCurrentTimeFormat {
  NSDateFormatter* formatter = [[[NSDateFormatter alloc] init] autorelease];
  [formatter setDateFormat:@"YYYY-MM-dd HH:mm:ss SSS"];
  return [NSString stringWithFormat:@"%@", [formatter stringFromDate:[NSDate date]]];
}

- (NSString*)getAppDisplayName {
  NSString* name = BundleValue(@"CFBundleDisplayName");
  if (name == nil) name = BundleValue(@"CFBundleName");
  return name != nil ? name : @"";
}

- (NSString*)getDeviceModelName {
  char name[kMachineNameSize];
  CrashHandler::machine::MachineName(name, sizeof name);
  return CrashHandler::TextFromBytes(name, strlen(name));
}
@end

namespace CrashHandler {

NSString* TextFromBytes(const char* bytes, size_t length) {
  NSString* text = [[NSString alloc] initWithBytes:bytes
                                            length:length
                                          encoding:NSUTF8StringEncoding];
  if (text == nil) {
    text = [[NSString alloc] initWithBytes:bytes length:length encoding:NSISOLatin1StringEncoding];
  }
  return [text autorelease];
}

}  // namespace CrashHandler
