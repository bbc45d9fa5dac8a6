#include "examples/reference_sdk/oru_rtc_engine_impl.h"

#include "examples/reference_sdk/upload_log.h"

@implementation OruRtcEngineImpl

+ (OruUploadLogFunction)getUploadLogPrivate {
  return reference_sdk::UploadLog;
}

@end
