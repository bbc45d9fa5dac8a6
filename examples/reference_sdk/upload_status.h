// What the upload function returns. The helper passes the number through as its exit status, of
// which the system keeps the low eight bits: -1 is seen as 255, -7 as 249.
#ifndef EXAMPLES_REFERENCE_SDK_UPLOAD_STATUS_H_
#define EXAMPLES_REFERENCE_SDK_UPLOAD_STATUS_H_

#include <cstdint>

namespace reference_sdk {

enum UploadStatus : int32_t {
  // The archive is where it should be: renamed into place, or acknowledged by the store (2xx).
  kStored = 0,
  // The bucket or the endpoint is empty, or no archive can be addressed with it: a bucket with a
  // slash, a host with characters that hosts do not have, a folder that is not absolute.
  kNoTarget = -1,
  // The endpoint starts with none of file://, http:// and https://.
  kUnknownScheme = -2,
  // The log directory is empty text, does not exist, is not a directory or cannot be listed.
  kNoLogs = -3,
  // The archive could not be made: the disk is full, a folder cannot be written to, memory ran out.
  kArchiveNotWritten = -4,
  // No connection, or one that broke or stalled, after all tries; a certificate that is not
  // trusted.
  kStoreUnreachable = -5,
  // The store said no: a 4xx answer, or a redirection (3xx), which is never followed. Also
  // credentials that cannot be sent because they hold control characters.
  kStoreRefused = -6,
  // The store failed (5xx) in every try.
  kStoreFailed = -7,
  // The network library of this machine cannot do what a safe upload needs: it cannot sign requests
  // (older than 7.75, or built without), or refused a setting. Nothing was sent.
  kNetworkLibraryUnfit = -8,
};

// A short English sentence part for messages, "" for a number that is no status.
const char* DescribeUploadStatus(int32_t status);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_UPLOAD_STATUS_H_
