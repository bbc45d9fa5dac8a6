// Puts an archive into an S3-compatible object store.
#ifndef EXAMPLES_REFERENCE_SDK_HTTP_STORE_H_
#define EXAMPLES_REFERENCE_SDK_HTTP_STORE_H_

#include <cstdint>
#include <string>

#include "examples/reference_sdk/store_access.h"
#include "examples/reference_sdk/upload_options.h"
#include "examples/reference_sdk/upload_status.h"

namespace reference_sdk {

// The first `size` bytes of `fd` become the object at `url`, signed with AWS signature version 4
// (of curl): in one PUT, or in parts above options.single_put_bytes; see StoreSession for the
// tries. Returns kStored, kStoreUnreachable, kStoreRefused, kStoreFailed, kArchiveNotWritten when
// `fd` cannot be read, or kNetworkLibraryUnfit, and then nothing was sent.
UploadStatus PutToStore(int fd, uint64_t size, const std::string& url,
                        const Credentials& credentials, const UploadOptions& options,
                        StoreFailure* failure);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_HTTP_STORE_H_
