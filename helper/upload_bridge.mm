#import "helper/upload_bridge.h"

#import <Foundation/Foundation.h>
#import <objc/runtime.h>
#include <unistd.h>

#import "helper/framework_bundle.h"
#import "helper/readable_string.h"
#include "helper/readable_text.h"

const char *const kFrameworkFileName = "OruRTCSdk.framework";

namespace {

NSString *const kClassName = @"OruRtcEngineImpl";

using UploadFunction = int32_t (*)(const char *app_id, const char *access_key_id,
                                   const char *access_key_secret, const char *security_token,
                                   const char *endpoint, const char *bucket, const char *log_path);
// The entry point takes neither receiver nor selector.
using EntryPoint = UploadFunction (*)();

void WaitSeconds(uint64_t seconds) {
  if (seconds != 0) sleep(static_cast<unsigned int>(seconds));
}

// For the log any bytes have a text; only UTF-8 is a path to Foundation.
bool FrameworkExists(const char *library_path, NSString *framework_path) {
  return IsUtf8(library_path) && [[NSFileManager defaultManager] fileExistsAtPath:framework_path];
}

// A class without the method would answer methodForSelector: with the runtime's forwarding function
// (GNUstep raises instead), which looks for the receiver that an entry point is not given: a method
// that is not there has no implementation.
EntryPoint EntryPointOf(Class engine, SEL selector) {
  if (class_getClassMethod(engine, selector) == nullptr) return nullptr;
  return reinterpret_cast<EntryPoint>([engine methodForSelector:selector]);
}

// The upload function of the loaded framework; null, and a line in the log, when it offers none.
// The entry point is called before the class is asked whether it responds: the order is part of
// what an SDK sees.
UploadFunction FindUploadFunction() {
  const Class engine = NSClassFromString(kClassName);
  const SEL selector = NSSelectorFromString(@"getUploadLogPrivate");
  const EntryPoint entry_point = EntryPointOf(engine, selector);
  if (entry_point == nullptr) {
    NSLog(@"varnook the framework getUploadLogPrivate failed!");
    return nullptr;
  }
  const UploadFunction upload = entry_point();
  if (![engine respondsToSelector:selector]) {
    NSLog(@"varnook the framework did not methodForSelector for selector!");
    return nullptr;
  }
  if (upload == nullptr) NSLog(@"varnook the framework getUploadLogPrivate failed!");
  return upload;
}

// The framework's bundle with its code loaded; nil, and a line in the log, when that fails.
id LoadFramework(const char *library_path) {
  NSString *path =
      [ReadableString(library_path) stringByAppendingFormat:@"/%s", kFrameworkFileName];
  if (!FrameworkExists(library_path, path)) {
    NSLog(@"varnook \"%@\" sdk was not exist!", path);
    return nil;
  }
  const id bundle = [FrameworkBundleClass() bundleWithPath:path];
  if (bundle == nil) {
    NSLog(@"varnook the framework \"%@\"  was load failed!", path);
    return nil;
  }
  NSError *error = nil;
  if (![bundle loadAndReturnError:&error]) {
    NSLog(@"varnook the framework loadAndReturnError, error: %@", [error localizedDescription]);
    [bundle unload];
    return nil;
  }
  NSLog(@"varnook the framework load success!");
  return bundle;
}

}  // namespace

int32_t HandleActionUploadLog(const char *library_path, const char *app_id,
                              const char *access_key_id, const char *access_key_secret,
                              const char *security_token, const char *endpoint, const char *bucket,
                              const char *log_path, uint64_t delay_seconds) {
  NSLog(@"varnook HandleActionUploadLog delay %llu sec. ",
        static_cast<unsigned long long>(delay_seconds));
  WaitSeconds(delay_seconds);

  const id bundle = LoadFramework(library_path);
  if (bundle == nil) return 0;
  const UploadFunction upload = FindUploadFunction();
  int32_t status = 0;
  if (upload != nullptr) {
    status = upload(app_id, access_key_id, access_key_secret, security_token, endpoint, bucket,
                    log_path);
    NSLog(@"varnook uploadLogPrivate return: %d", status);
  }
  [bundle unload];
  return status;
}
