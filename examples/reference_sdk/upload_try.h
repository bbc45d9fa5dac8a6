// What one try of an upload to a store came to.
#ifndef EXAMPLES_REFERENCE_SDK_UPLOAD_TRY_H_
#define EXAMPLES_REFERENCE_SDK_UPLOAD_TRY_H_

#include <curl/curl.h>

#include <string>

#include "examples/reference_sdk/upload_status.h"

namespace reference_sdk {

struct UploadTry {
  CURLcode code = CURLE_OK;
  // Of the last status line, 0 without one.
  long http_code = 0;
  // CURL_HTTP_VERSION_..., as the store wrote it.
  long http_version = 0;
  // The empty line behind the header lines has arrived.
  bool head_is_whole = false;
  bool archive_was_sent = false;
  // errno of a connection that failed, else 0.
  long system_error = 0;
};

// A final status line that tells of a failure counts, whatever follows it and however much of the
// archive was sent. A success counts only as a whole, and behind the whole archive: what is in
// doubt is put again, to the same key, and does no harm there.
UploadStatus StatusOfTry(const UploadTry& result);

// Whether the same request may come to something else.
bool IsWorthAnotherTry(const UploadTry& result);

// Why it failed, "" when the status code says it all. Made of fixed words alone: what the network
// library writes about a failure can quote the store, a certificate, or a proxy's password.
std::string ReasonOfTry(const UploadTry& result);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_UPLOAD_TRY_H_
