// A small OruRTCSdk for tests. It appends what happens to it to the file ORU_TEST_RECORD, each
// entry ended by a NUL, and behaves as ORU_TEST_SDK_MODE says:
//   (unset)            hands out an upload function that returns ORU_TEST_STATUS
//   null               hands out a null upload function
//   not-responding     denies to respond to the selector
//   process-info       the upload asks Foundation for the arguments and a value "ORU_TEST_TEXT" of
//                      the environment first
//   autoreleased       leaves an object to the pool that logs its end
//   lines              logs texts that are hard to write: a lone surrogate, U+0000, and by NSLogv
//   no-implementation  has no implementation to show for the selector
#import <Foundation/Foundation.h>
#import <objc/runtime.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#ifdef ORU_TEST_SDK_CALLS_MISSING_FUNCTION
extern "C" void OruTestFunctionThatNobodyDefines();
#endif

@interface OruTestLastWords : NSObject
@end

@implementation OruTestLastWords
- (void)dealloc {
  NSLog(@"gone");
  [super dealloc];
}
@end

namespace {

[[maybe_unused]] void Record(const char *entry) {
  FILE *file = fopen(getenv("ORU_TEST_RECORD"), "ab");
  if (file == nullptr) abort();
  fwrite(entry, strlen(entry) + 1, 1, file);
  fclose(file);
}

[[maybe_unused]] bool ModeIs(const char *name) {
  const char *mode = getenv("ORU_TEST_SDK_MODE");
  return mode != nullptr && strcmp(mode, name) == 0;
}

[[maybe_unused]] void RecordProcessInfo() {
  @autoreleasepool {
    NSProcessInfo *info = [NSProcessInfo processInfo];
    Record([[[info arguments] lastObject] UTF8String]);
    Record([[[info environment] objectForKey:@"ORU_TEST_TEXT"] UTF8String]);
    Record(getenv("ORU_TEST_TEXT"));
  }
}

[[maybe_unused]] void LogByList(NSString *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  NSLogv(format, arguments);
  va_end(arguments);
}

[[maybe_unused]] void LogHardLines() {
  const unichar with_nul[] = {'a', 0, 'b'};
  const unichar pair[] = {0xD83D, 0xDE00};
  // GNUstep makes no string of a lone surrogate, but cuts a pair in two.
  NSLog(@"half %@", [[NSString stringWithCharacters:pair length:2] substringToIndex:1]);
  NSLog(@"nul %@", [NSString stringWithCharacters:with_nul length:3]);
  NSLog(@"pair %@", [NSString stringWithCharacters:pair length:2]);
  LogByList(@"list %d", 7);
}

[[maybe_unused]] int32_t Upload(const char *app_id, const char *access_key_id,
                                const char *access_key_secret, const char *security_token,
                                const char *endpoint, const char *bucket, const char *log_path) {
  if (ModeIs("process-info")) RecordProcessInfo();
  if (ModeIs("autoreleased")) [[[OruTestLastWords alloc] init] autorelease];
  if (ModeIs("lines")) LogHardLines();
  Record("upload");
  for (const char *text :
       {app_id, access_key_id, access_key_secret, security_token, endpoint, bucket, log_path}) {
    Record(text);
  }
#ifdef ORU_TEST_SDK_CALLS_MISSING_FUNCTION
  OruTestFunctionThatNobodyDefines();
#endif
  const char *status = getenv("ORU_TEST_STATUS");
  return status != nullptr ? atoi(status) : 0;
}

__attribute__((constructor)) void Loaded() { Record("loaded"); }

}  // namespace

#if defined(ORU_TEST_SDK_ROOT_CLASS)

// Inherits nothing: it answers to its one method alone.
__attribute__((objc_root_class))
@interface OruRtcEngineImpl
@end

@implementation OruRtcEngineImpl
+ (void *)getUploadLogPrivate {
  Record("getUploadLogPrivate");
  return reinterpret_cast<void *>(Upload);
}
@end

#elif defined(ORU_TEST_SDK_ANSWERS_BY_ITSELF)

namespace {
// As the command calls it.
decltype(&Upload) HandOut() {
  Record("HandOut");
  return Upload;
}
}  // namespace

// Has no such method, and answers for it all the same.
@interface OruRtcEngineImpl : NSObject
@end

@implementation OruRtcEngineImpl
+ (IMP)methodForSelector:(SEL)selector {
  if (!sel_isEqual(selector, sel_registerName("getUploadLogPrivate"))) {
    return [super methodForSelector:selector];
  }
  return reinterpret_cast<IMP>(HandOut);
}
+ (BOOL)respondsToSelector:(SEL)selector {
  return sel_isEqual(selector, sel_registerName("getUploadLogPrivate")) ||
         [super respondsToSelector:selector];
}
@end

#elif !defined(ORU_TEST_SDK_WITHOUT_CLASS)

@interface OruRtcEngineImpl : NSObject
@end

@implementation OruRtcEngineImpl

#ifndef ORU_TEST_SDK_WITHOUT_METHOD
+ (void *)getUploadLogPrivate {
  Record("getUploadLogPrivate");
  return ModeIs("null") ? nullptr : reinterpret_cast<void *>(Upload);
}
#endif

+ (BOOL)respondsToSelector:(SEL)selector {
  Record("respondsToSelector:");
  return ModeIs("not-responding") ? NO : [super respondsToSelector:selector];
}

+ (IMP)methodForSelector:(SEL)selector {
  return ModeIs("no-implementation") ? nullptr : [super methodForSelector:selector];
}

@end
#endif
