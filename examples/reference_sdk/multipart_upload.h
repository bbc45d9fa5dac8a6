// Puts an archive into an S3-compatible object store in parts: a single PUT is limited to 5 GB, and
// a part that failed is all that has to be sent again.
#ifndef EXAMPLES_REFERENCE_SDK_MULTIPART_UPLOAD_H_
#define EXAMPLES_REFERENCE_SDK_MULTIPART_UPLOAD_H_

#include <cstdint>
#include <string>

#include "examples/reference_sdk/progress.h"
#include "examples/reference_sdk/store_session.h"
#include "examples/reference_sdk/upload_status.h"

namespace reference_sdk {

// The length of one part of `size` bytes: `wanted`, or more where that would be more than 1,000
// parts, which every store takes.
uint64_t PartBytes(uint64_t size, uint64_t wanted);

// The first `size` bytes (not 0) of `fd` become the object at `url`. Each request is tried as
// StoreSession::Send tries. On a failure the store is told to forget the parts; only a process that
// is killed, or a store that cannot be reached any more, leaves them there. Returns what PutToStore
// returns.
UploadStatus PutInParts(StoreSession* session, int fd, uint64_t size, const std::string& url,
                        uint64_t part_bytes, Progress* progress, StoreFailure* failure);

// Of an answer's XML: the text of the first element of this name that holds no other; "" when there
// is none. Entities stand as they are.
std::string TextOfElement(const std::string& xml, const std::string& name);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_MULTIPART_UPLOAD_H_
