#import "helper/upload_bridge.h"

#import <Foundation/Foundation.h>
#import <objc/runtime.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <string>

#import "helper/framework_bundle.h"
#include "helper/privilege.h"
#import "helper/readable_string.h"
#include "helper/readable_text.h"
#include "helper/trusted_path.h"

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
bool IsFramework(const std::string &path) {
  return IsUtf8(path.c_str()) && FrameworkExists(path.c_str());
}

// NSBundle wants paths from the root: others are not the working folder's to it.
std::string AbsolutePath(const std::string &path) {
  char folder[PATH_MAX];
  if (path[0] == '/' || getcwd(folder, sizeof folder) == nullptr) return path;
  return std::string(folder) + "/" + path;
}

// What the runtime has in the place of a method that a class has not. It would look for the
// receiver that an entry point is not given.
IMP ForwardingFunction(Class engine, SEL selector) {
  if (class_getClassMethod(engine, selector) != nullptr) return nullptr;
  return class_getMethodImplementation(object_getClass(engine), selector);
}

// The class is asked, which may answer as it likes. One that cannot be asked (no NSObject) has no
// implementation, and GNUstep's NSObject raises where there is none.
EntryPoint EntryPointOf(Class engine, SEL selector) {
  if (class_getClassMethod(engine, @selector(methodForSelector:)) == nullptr) return nullptr;
  IMP implementation = nullptr;
  @try {
    implementation = [engine methodForSelector:selector];
  } @catch (NSException *) {
    return nullptr;
  }
  if (implementation == ForwardingFunction(engine, selector)) return nullptr;
  return reinterpret_cast<EntryPoint>(implementation);
}

bool RespondsTo(Class engine, SEL selector) {
  return class_getClassMethod(engine, @selector(respondsToSelector:)) != nullptr &&
         [engine respondsToSelector:selector];
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
  if (!RespondsTo(engine, selector)) {
    NSLog(@"varnook the framework did not methodForSelector for selector!");
    return nullptr;
  }
  if (upload == nullptr) NSLog(@"varnook the framework getUploadLogPrivate failed!");
  return upload;
}

// What keeps a privileged process from running the framework's code, nil when nothing does: others
// could have it run theirs with its rights.
NSString *WhyNotToBeRun(id bundle) {
  if (!RunsPrivileged()) return nil;
  const std::string program = OwnProgramPath();
  struct stat info {};
  TrustedOwners owners;
  owners.caller = getuid();
  if (stat(program.c_str(), &info) == 0) owners.program = info.st_uid;
  const std::string changeable =
      FirstChangeablePart(Utf8Text([bundle executablePath]), program, owners);
  if (changeable.empty() || access(changeable.c_str(), F_OK) != 0) return nil;
  return ReadableString(
      (changeable + ": others may change it, and this process is privileged").c_str());
}

// The framework's bundle with its code loaded; nil, and a line in the log, when that fails.
id LoadFramework(const char *library_path) {
  const std::string location = std::string(library_path) + "/" + kFrameworkFileName;
  NSString *path = ReadableString(location.c_str());
  if (!IsFramework(location)) {
    NSLog(@"varnook \"%@\" sdk was not exist!", path);
    return nil;
  }
  NSString *absolute_path = ReadableString(AbsolutePath(location).c_str());
  const id bundle = [FrameworkBundleClass() bundleWithPath:absolute_path];
  if (bundle == nil) {
    NSLog(@"varnook the framework \"%@\"  was load failed!", path);
    return nil;
  }
  NSString *refusal = WhyNotToBeRun(bundle);
  if (refusal != nil) {
    NSLog(@"varnook the framework loadAndReturnError, error: %@", refusal);
    [bundle unload];
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
  int32_t status = 0;
  bool uploaded = false;
  // What the framework leaves to the pool is its own code's to destroy, and goes before that does.
  @autoreleasepool {
    const UploadFunction upload = FindUploadFunction();
    uploaded = upload != nullptr;
    if (uploaded) {
      status = upload(app_id, access_key_id, access_key_secret, security_token, endpoint, bucket,
                      log_path);
    }
  }
  if (uploaded) NSLog(@"varnook uploadLogPrivate return: %d", status);
  [bundle unload];
  return status;
}
