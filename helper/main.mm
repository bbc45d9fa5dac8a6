#import <Foundation/Foundation.h>

#include <signal.h>
#include <stdio.h>
#include <string.h>

#include "helper/command_line.h"
#import "helper/console_log.h"
#import "helper/readable_string.h"
#include "helper/upload_bridge.h"
#include "media_core/common/webrtc/rtc_base/version.h"

namespace {

void LogArgument(int index, const char *key, const char *value) {
  @autoreleasepool {
    LogSecretLine([NSString stringWithFormat:@"SAT:Arg %d: %@ - %@", index, ReadableString(key),
                                             ReadableString(value)]);
  }
}

int32_t UploadLog(const CommandLine &command) {
  if (command.library_path.empty()) {
    NSLog(@"varnook UploadLog LibraryPath coiuldn't be empty!");
    return 0;
  }
  return HandleActionUploadLog(
      command.library_path.c_str(), command.app_id.c_str(), command.access_key_id.c_str(),
      command.access_key_secret.c_str(), command.security_token.c_str(), command.endpoint.c_str(),
      command.bucket.c_str(), command.log_path.c_str(), DelaySeconds(command.delay));
}

}  // namespace

int main(int argc, char **argv) {
  int32_t result = 0;
  // Whoever started the command and read its log may be gone: that must not end the upload. GNUstep
  // sees to it by itself, Apple's Foundation does not.
  signal(SIGPIPE, SIG_IGN);
  // Beside what the command does anyway with a key that has no value.
  if (argc == 2 && strcmp(argv[1], "--version") == 0) printf("varnook %s\n", ORU_VERSION);
  @autoreleasepool {
    NSLog(@"varnook upload_log");
    CommandLine command = ParseCommandLine(argc, argv, LogArgument);
    if (command.library_path.empty()) {
      NSLog(@"varnook LibraryPath was empty!");
      return 0;
    }
    if (command.log_path.empty()) command.log_path = GetDefaultLogDirPath();
    if (command.action == kUploadLogActionCode) result = UploadLog(command);
  }
  NSLog(@"varnook upload_log return:%d", result);
  return result;
}
