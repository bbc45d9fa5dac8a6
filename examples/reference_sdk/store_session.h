// Signed requests to one S3-compatible object store.
#ifndef EXAMPLES_REFERENCE_SDK_STORE_SESSION_H_
#define EXAMPLES_REFERENCE_SDK_STORE_SESSION_H_

#include <curl/curl.h>

#include <cstdint>
#include <memory>
#include <string>

#include "examples/reference_sdk/curl_settings.h"
#include "examples/reference_sdk/progress.h"
#include "examples/reference_sdk/store_access.h"
#include "examples/reference_sdk/upload_options.h"
#include "examples/reference_sdk/upload_status.h"
#include "examples/reference_sdk/upload_try.h"

namespace reference_sdk {

struct StoreRequest {
  const char* method = "PUT";
  // As it is signed: percent-encoded, the query's names in the order of their bytes.
  std::string url;
  const char* content_type = "application/zip";
  // The body: `size` bytes of `fd` from `offset`, or of `text` when there is no descriptor.
  int fd = -1;
  uint64_t offset = 0;
  uint64_t size = 0;
  std::string text;
  // Told how far the body has come, counted from the start of `fd`; may be null.
  Progress* progress = nullptr;
  // Once on its way, it is given ten seconds when the process is asked to end: its answer is needed
  // to clear up.
  bool is_needed = false;
  // A request that clears up is sent although the process is asked to end; it has ten seconds.
  bool clears_up = false;
};

struct StoreAnswer {
  std::string etag;
  // Its first 64 KiB.
  std::string body;
};

// For one thread.
class StoreSession {
 public:
  // All three must outlive the session; `failure` tells of the last request.
  StoreSession(const Credentials& credentials, const UploadOptions& options, StoreFailure* failure);
  StoreSession(const StoreSession&) = delete;
  StoreSession& operator=(const StoreSession&) = delete;

  // kStored when requests can be made: the library can sign, the credentials can be sent. Nothing
  // goes over the network.
  UploadStatus Open();

  // Sends a request, in up to kUploadTries tries: another one only after a connection that failed,
  // broke or stalled, an answer that is not a whole one of HTTP/1, and after a 5xx answer. A
  // certificate that is not trusted is not tried twice. kStored stands for a 2xx answer to the
  // whole request; the others are those of PutToStore.
  UploadStatus Send(const StoreRequest& request, StoreAnswer* answer);

 private:
  struct Exchange;

  void SetRequest(const StoreRequest& request, const curl_slist* headers, CurlSettings* settings);
  void SetSafety(const StoreRequest& request, CurlSettings* settings) const;
  static void SetBody(Exchange* exchange, CurlSettings* settings);
  UploadTry Try(Exchange* exchange);

  const CurlLibrary library_;
  const std::unique_ptr<CURL, void (*)(CURL*)> curl_;
  const Credentials& credentials_;
  const UploadOptions& options_;
  StoreFailure* const failure_;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_STORE_SESSION_H_
