// The class that the helper looks up after it has loaded the framework.
#ifndef EXAMPLES_REFERENCE_SDK_ORU_RTC_ENGINE_IMPL_H_
#define EXAMPLES_REFERENCE_SDK_ORU_RTC_ENGINE_IMPL_H_

#import <Foundation/Foundation.h>

#include <cstdint>

// Application id, access key id, access key secret, security token, endpoint, bucket, log
// directory: texts that end with NUL. The status becomes the helper's exit status.
typedef int32_t (*OruUploadLogFunction)(const char* appId, const char* accessKeyId,
                                        const char* accessKeySecret, const char* securityToken,
                                        const char* endpoint, const char* bucket,
                                        const char* logPath);

@interface OruRtcEngineImpl : NSObject

// The upload function. The helper calls this method's implementation as a plain function without
// arguments: it must use neither `self` nor `_cmd`, whose places hold whatever the registers held.
+ (OruUploadLogFunction)getUploadLogPrivate;

@end

#endif  // EXAMPLES_REFERENCE_SDK_ORU_RTC_ENGINE_IMPL_H_
