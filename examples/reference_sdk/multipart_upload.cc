#include "examples/reference_sdk/multipart_upload.h"

#include <algorithm>
#include <vector>

#include "examples/reference_sdk/upload_target.h"

namespace reference_sdk {
namespace {

constexpr uint64_t kMaxParts = 1000;
constexpr size_t kMaxUploadIdBytes = 2048;

std::string EscapeXml(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// One object on its way in parts.
class MultipartUpload {
 public:
  MultipartUpload(StoreSession* session, const std::string& url, StoreFailure* failure)
      : session_(session), url_(url), failure_(failure) {}

  UploadStatus Begin() {
    StoreRequest request;
    request.method = "POST";
    // With the sign: it is signed with it, and not every version of libcurl adds it.
    request.url = url_ + "?uploads=";
    request.is_needed = true;
    StoreAnswer answer;
    const UploadStatus status = session_->Send(request, &answer);
    if (status != kStored) return status;
    const std::string id = TextOfElement(answer.body, "UploadId");
    if (id.empty() || id.size() > kMaxUploadIdBytes) return Misunderstood();
    upload_ = "uploadId=" + PercentEncode(id);
    return kStored;
  }

  UploadStatus PutPart(int fd, uint64_t offset, uint64_t size, Progress* progress) {
    StoreRequest request;
    request.url = url_ + "?partNumber=" + std::to_string(etags_.size() + 1) + "&" + upload_;
    request.fd = fd;
    request.offset = offset;
    request.size = size;
    request.progress = progress;
    StoreAnswer answer;
    const UploadStatus status = session_->Send(request, &answer);
    if (status != kStored) return status;
    if (answer.etag.empty()) return Misunderstood();
    etags_.push_back(answer.etag);
    return kStored;
  }

  UploadStatus Complete() {
    StoreRequest request;
    request.method = "POST";
    request.url = url_ + "?" + upload_;
    request.content_type = "application/xml";
    request.text = "<CompleteMultipartUpload>";
    for (size_t i = 0; i < etags_.size(); ++i) {
      request.text += "<Part><PartNumber>" + std::to_string(i + 1) + "</PartNumber><ETag>" +
                      EscapeXml(etags_[i]) + "</ETag></Part>";
    }
    request.text += "</CompleteMultipartUpload>";
    request.size = request.text.size();
    StoreAnswer answer;
    const UploadStatus status = session_->Send(request, &answer);
    if (status != kStored) return status;
    // The answer begins before the store has put the parts together: 200 is not yet a success.
    const bool done = answer.body.find("<CompleteMultipartUploadResult") != std::string::npos;
    return done ? kStored : Misunderstood();
  }

  void Abort() {
    const StoreFailure why = *failure_;
    StoreRequest request;
    request.method = "DELETE";
    request.url = url_ + "?" + upload_;
    request.clears_up = true;
    StoreAnswer answer;
    session_->Send(request, &answer);
    *failure_ = why;
  }

 private:
  UploadStatus Misunderstood() {
    failure_->reason = "the store's answer to an upload in parts has not what it needs";
    return kStoreFailed;
  }

  StoreSession* const session_;
  const std::string url_;
  StoreFailure* const failure_;
  std::string upload_;
  std::vector<std::string> etags_;
};

UploadStatus PutAllParts(MultipartUpload* upload, int fd, uint64_t size, uint64_t part_bytes,
                         Progress* progress) {
  for (uint64_t offset = 0; offset < size; offset += part_bytes) {
    const UploadStatus status =
        upload->PutPart(fd, offset, std::min(part_bytes, size - offset), progress);
    if (status != kStored) return status;
  }
  return upload->Complete();
}

}  // namespace

uint64_t PartBytes(uint64_t size, uint64_t wanted) {
  return std::max(wanted, (size + kMaxParts - 1) / kMaxParts);
}

UploadStatus PutInParts(StoreSession* session, int fd, uint64_t size, const std::string& url,
                        uint64_t part_bytes, Progress* progress, StoreFailure* failure) {
  MultipartUpload upload(session, url, failure);
  UploadStatus status = upload.Begin();
  if (status != kStored) return status;
  status = PutAllParts(&upload, fd, size, PartBytes(size, part_bytes), progress);
  if (status != kStored) upload.Abort();
  return status;
}

std::string TextOfElement(const std::string& xml, const std::string& name) {
  const std::string open = "<" + name + ">";
  const size_t start = xml.find(open);
  if (start == std::string::npos) return "";
  const size_t text = start + open.size();
  const size_t end = xml.find('<', text);
  if (end == std::string::npos || xml.compare(end, name.size() + 3, "</" + name + ">") != 0) {
    return "";
  }
  return xml.substr(text, end - text);
}

}  // namespace reference_sdk
