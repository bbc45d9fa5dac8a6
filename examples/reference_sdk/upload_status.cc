#include "examples/reference_sdk/upload_status.h"

namespace reference_sdk {

const char* DescribeUploadStatus(int32_t status) {
  switch (status) {
    case kStored:
      return "stored";
    case kNoTarget:
      return "the bucket or the endpoint is missing or not usable";
    case kUnknownScheme:
      return "the endpoint's scheme is none of file, http and https";
    case kNoLogs:
      return "the log directory is missing or cannot be read";
    case kArchiveNotWritten:
      return "the archive could not be written";
    case kStoreUnreachable:
      return "the store could not be reached";
    case kStoreRefused:
      return "the store refused the upload";
    case kStoreFailed:
      return "the store failed";
    case kNetworkLibraryUnfit:
      return "the network library cannot do a safe upload, nothing was sent";
    default:
      return "";
  }
}

}  // namespace reference_sdk
