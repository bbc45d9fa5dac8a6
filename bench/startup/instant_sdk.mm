// A framework whose upload returns at once: all the time of a run is the command's.
#import <Foundation/Foundation.h>

#include <cstdint>

namespace {

int32_t Upload(const char *, const char *, const char *, const char *, const char *, const char *,
               const char *) {
  return 0;
}

}  // namespace

@interface OruRtcEngineImpl : NSObject
@end

@implementation OruRtcEngineImpl

+ (void *)getUploadLogPrivate {
  return reinterpret_cast<void *>(Upload);
}

@end
