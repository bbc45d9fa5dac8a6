#include "examples/reference_sdk/upload_try.h"

#include <system_error>

namespace reference_sdk {
namespace {

bool IsSuccess(long http_code) { return http_code >= 200 && http_code < 300; }

// Of a 2xx answer: what keeps it from being believed, null when nothing does.
const char* DoubtAbout(const UploadTry& result) {
  if (!result.head_is_whole) return "the store's answer broke off";
  // The request was one of HTTP/1.1; who answers in another version has not understood it.
  if (result.http_version != CURL_HTTP_VERSION_1_0 &&
      result.http_version != CURL_HTTP_VERSION_1_1) {
    return "the store's answer is not HTTP/1";
  }
  if (!result.archive_was_sent) return "the store answered before it had the archive";
  return nullptr;
}

}  // namespace

UploadStatus StatusOfTry(const UploadTry& result) {
  if (result.code == CURLE_ABORTED_BY_CALLBACK || result.code == CURLE_READ_ERROR) {
    return kArchiveNotWritten;
  }
  if (result.http_code >= 500) return kStoreFailed;
  if (result.http_code >= 300) return kStoreRefused;
  // An answer that goes on and on is cut off here (a write error); it says no less for that.
  const bool answered = result.code == CURLE_OK || result.code == CURLE_WRITE_ERROR;
  const bool stored = answered && IsSuccess(result.http_code) && DoubtAbout(result) == nullptr;
  return stored ? kStored : kStoreUnreachable;
}

bool IsWorthAnotherTry(const UploadTry& result) {
  const UploadStatus status = StatusOfTry(result);
  if (status == kStoreFailed) return true;
  if (status != kStoreUnreachable) return false;
  // These come out the same however often they are tried.
  return result.code != CURLE_PEER_FAILED_VERIFICATION && result.code != CURLE_SSL_CACERT_BADFILE &&
         result.code != CURLE_OUT_OF_MEMORY;
}

std::string ReasonOfTry(const UploadTry& result) {
  if (result.http_code >= 300) return "";
  if (result.code != CURLE_OK) {
    std::string reason = curl_easy_strerror(result.code);
    if (result.system_error != 0) {
      reason += ": " + std::generic_category().message(static_cast<int>(result.system_error));
    }
    return reason;
  }
  const char* const doubt = IsSuccess(result.http_code) ? DoubtAbout(result) : nullptr;
  return doubt != nullptr ? doubt : "";
}

}  // namespace reference_sdk
