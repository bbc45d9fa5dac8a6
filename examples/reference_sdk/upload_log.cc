#include "examples/reference_sdk/upload_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <exception>
#include <string>

#include "examples/reference_sdk/http_store.h"
#include "examples/reference_sdk/log_archive.h"
#include "examples/reference_sdk/log_files.h"
#include "examples/reference_sdk/temp_file.h"
#include "examples/reference_sdk/upload_options.h"
#include "examples/reference_sdk/upload_status.h"
#include "examples/reference_sdk/upload_target.h"

namespace reference_sdk {
namespace {

// An archive is written beside its place, so that the place only ever holds a whole one.
class PartFile {
 public:
  explicit PartFile(const std::string& path)
      : path_(path),
        part_(path + ".part"),
        fd_(open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666)) {}
  ~PartFile() {
    if (fd_ < 0) return;
    close(fd_);
    unlink(part_.c_str());
  }
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  int fd() const { return fd_; }

  // Gives the file its final name.
  bool Keep() {
    const int fd = fd_;
    fd_ = -1;
    // Some file systems report a failed write only here.
    if (close(fd) == 0 && rename(part_.c_str(), path_.c_str()) == 0) return true;
    unlink(part_.c_str());
    return false;
  }

 private:
  std::string path_;
  std::string part_;
  int fd_;
};

UploadStatus UploadToFolder(const LogFiles& logs, const UploadTarget& target,
                            const std::string& key, const UploadOptions& options) {
  const std::string path = target.base + "/" + target.bucket + "/" + key;
  if (!MakeFolders(path.substr(0, path.rfind('/')))) return kArchiveNotWritten;
  PartFile part(path);
  uint64_t size = 0;
  if (part.fd() < 0 || !PackLogs(logs, options.threads, part.fd(), &size)) {
    return kArchiveNotWritten;
  }
  return part.Keep() ? kStored : kArchiveNotWritten;
}

UploadStatus UploadToStore(const LogFiles& logs, const UploadTarget& target, const std::string& key,
                           const Credentials& credentials, const UploadOptions& options,
                           StoreFailure* failure) {
  const ScopedFd archive(OpenNamelessFile(options.temp_dir));
  uint64_t size = 0;
  if (!archive.valid() || !PackLogs(logs, options.threads, archive.get(), &size)) {
    return kArchiveNotWritten;
  }
  return PutToStore(archive.get(), size, ObjectUrl(target, key), credentials, options, failure);
}

void ReportFailure(UploadStatus status, const StoreFailure& failure) {
  std::string line = std::string("OruRTCSdk: upload failed: ") + DescribeUploadStatus(status);
  if (failure.http_code >= 300) line += " (HTTP " + std::to_string(failure.http_code) + ")";
  if (!failure.reason.empty()) line += ": " + failure.reason;
  fprintf(stderr, "%s\n", line.c_str());
}

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

int32_t UploadLog(const char* app_id, const char* access_key_id, const char* access_key_secret,
                  const char* security_token, const char* endpoint, const char* bucket,
                  const char* log_dir) {
  UploadStatus status = kArchiveNotWritten;
  StoreFailure failure;
  try {
    UploadTarget target;
    LogFiles logs;
    status = ParseUploadTarget(OrEmpty(endpoint), OrEmpty(bucket), &target);
    if (status == kStored && !logs.Collect(OrEmpty(log_dir))) status = kNoLogs;
    if (status == kStored) {
      const UploadOptions options = UploadOptionsFromEnvironment();
      const std::string key = MakeObjectKey(OrEmpty(app_id), time(nullptr), RandomHex());
      const Credentials credentials{OrEmpty(access_key_id), OrEmpty(access_key_secret),
                                    OrEmpty(security_token)};
      status = target.is_folder ? UploadToFolder(logs, target, key, options)
                                : UploadToStore(logs, target, key, credentials, options, &failure);
    }
  } catch (const std::exception&) {
    // Out of memory, or no source of random numbers. The caller is no C++ code.
    status = kArchiveNotWritten;
  }
  if (status != kStored) ReportFailure(status, failure);
  return status;
}

}  // namespace reference_sdk
