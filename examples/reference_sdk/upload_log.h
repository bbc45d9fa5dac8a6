// The upload function that the engine class hands out.
#ifndef EXAMPLES_REFERENCE_SDK_UPLOAD_LOG_H_
#define EXAMPLES_REFERENCE_SDK_UPLOAD_LOG_H_

#include <cstdint>

namespace reference_sdk {

// Packs all regular files below `log_dir` into one zip archive and stores it under
// BUCKET/APPID/TIME-RANDOM.zip at `endpoint`: in a folder for file:///DIR, in an S3-compatible
// store for http:// and https://. Blocks until that is done or has failed; see
// docs/object-store.md.
//
// Texts end with NUL and are bytes of any kind; a null pointer counts as empty. Returns a number of
// upload_status.h; a failure is also told in one line on standard error, and so is each file that
// was left out. No credential is printed. A signal that asks the process to end (SIGTERM, SIGINT,
// SIGHUP) takes effect when the upload has stopped and cleared up.
// May be called by several threads at a time. Throws nothing.
int32_t UploadLog(const char* app_id, const char* access_key_id, const char* access_key_secret,
                  const char* security_token, const char* endpoint, const char* bucket,
                  const char* log_dir);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_UPLOAD_LOG_H_
