// The bridge to the SDK framework: loads it, calls its private upload entry point, unloads it.
#ifndef HELPER_UPLOAD_BRIDGE_H_
#define HELPER_UPLOAD_BRIDGE_H_

#include <cstdint>

// The SDK framework's file name inside the library directory.
extern const char *const kFrameworkFileName;

// Waits `delay_seconds` (only the low 32 bits count), loads OruRTCSdk.framework from
// `library_path`, and calls the upload function that +[OruRtcEngineImpl getUploadLogPrivate]
// hands out with the other strings, their bytes unchanged. All strings are NUL-terminated and not
// null; they are only read during the call.
//
// Returns the upload function's status. Every failure is one log line and 0: a missing framework, a
// framework that cannot be loaded, a missing class, a class without the method, a null upload
// function. A library path that is not UTF-8 names nothing that Foundation can open: it counts as a
// missing framework. Called once, from the main thread, inside an autorelease pool.
int32_t HandleActionUploadLog(const char *library_path, const char *app_id,
                              const char *access_key_id, const char *access_key_secret,
                              const char *security_token, const char *endpoint, const char *bucket,
                              const char *log_path, uint64_t delay_seconds);

#endif  // HELPER_UPLOAD_BRIDGE_H_
