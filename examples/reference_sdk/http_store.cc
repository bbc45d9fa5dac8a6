#include "examples/reference_sdk/http_store.h"

#include "examples/reference_sdk/multipart_upload.h"
#include "examples/reference_sdk/store_session.h"

namespace reference_sdk {

UploadStatus PutToStore(int fd, uint64_t size, const std::string& url,
                        const Credentials& credentials, const UploadOptions& options,
                        StoreFailure* failure) {
  StoreSession session(credentials, options, failure);
  const UploadStatus opened = session.Open();
  if (opened != kStored) return opened;
  Progress progress("sent", size);
  if (size > options.single_put_bytes) {
    return PutInParts(&session, fd, size, url, options.part_bytes, &progress, failure);
  }
  StoreRequest request;
  request.url = url;
  request.fd = fd;
  request.size = size;
  request.progress = &progress;
  StoreAnswer answer;
  return session.Send(request, &answer);
}

}  // namespace reference_sdk
