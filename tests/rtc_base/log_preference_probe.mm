// Logs one line as a program with Foundation would.
//
//   log_preference_probe DEFAULT [VALUE]
//   log_preference_probe line
//
// DEFAULT is 1 or 0, what SetLogToStderr gets. VALUE becomes the "logToStdErr" preference of the
// program's own domain: "yes" and "no" as booleans, "int:N" and "real:N" as numbers, "text:S" as a
// string, "list" as an array; "global:yes" goes to the global domain. Prints the bundle's
// identifier. "line" logs the line without any use of Foundation before it.
#import <Foundation/Foundation.h>

#include <cstdio>
#include <string>

#include "media_core/common/webrtc/rtc_base/logging.h"

namespace {

id ValueOf(const std::string& text) {
  if (text == "yes" || text == "no") {
    return [NSNumber numberWithBool:text == "yes"];
  }
  if (text.compare(0, 4, "int:") == 0) {
    return [NSNumber numberWithInt:std::stoi(text.substr(4))];
  }
  if (text.compare(0, 5, "real:") == 0) {
    return [NSNumber numberWithDouble:std::stod(text.substr(5))];
  }
  if (text.compare(0, 5, "text:") == 0) {
    return [NSString stringWithUTF8String:text.substr(5).c_str()];
  }
  return [NSArray array];
}

void SetPreference(NSString* identifier, std::string text) {
  NSString* domain = identifier;
  if (text.compare(0, 7, "global:") == 0) {
    domain = NSGlobalDomain;
    text = text.substr(7);
  }
  [[NSUserDefaults standardUserDefaults]
      setPersistentDomain:[NSDictionary dictionaryWithObject:ValueOf(text) forKey:@"logToStdErr"]
                  forName:domain];
}

void LogLine() {
  rtc::LogMessage::LogToDebug(rtc::LS_INFO);
  rtc::LogMessage("probe.mm", 1, rtc::LS_INFO).stream() << "shown";
}

}  // namespace

int main(int argc, char** argv) {
  if (std::string(argv[1]) == "line") {
    LogLine();
    return 0;
  }
  @autoreleasepool {
    NSString* const identifier = [[NSBundle mainBundle] bundleIdentifier];
    printf("%s\n", identifier == nil ? "" : [identifier UTF8String]);
    if (argc > 2) {
      SetPreference(identifier == nil ? @"log_preference_probe" : identifier, argv[2]);
    }
    rtc::LogMessage::SetLogToStderr(std::string(argv[1]) == "1");
    LogLine();
  }
  return 0;
}
