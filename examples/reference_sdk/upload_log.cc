#include "examples/reference_sdk/upload_log.h"

#include <cstdio>
#include <ctime>
#include <exception>
#include <string>

#include "examples/reference_sdk/http_store.h"
#include "examples/reference_sdk/left_out.h"
#include "examples/reference_sdk/log_archive.h"
#include "examples/reference_sdk/log_files.h"
#include "examples/reference_sdk/store_folder.h"
#include "examples/reference_sdk/temp_file.h"
#include "examples/reference_sdk/termination.h"
#include "examples/reference_sdk/upload_options.h"
#include "examples/reference_sdk/upload_status.h"
#include "examples/reference_sdk/upload_target.h"

namespace reference_sdk {
namespace {

UploadStatus UploadToFolder(const LogFiles& logs, const UploadTarget& target,
                            const std::string& key, const UploadOptions& options,
                            LeftOutFiles* left_out) {
  const size_t slash = key.find('/');
  const ScopedFd folder(OpenStoreFolder(target.base, target.bucket, key.substr(0, slash)));
  if (!folder.valid()) return kArchiveNotWritten;
  RemoveAbandonedParts(folder);
  PartFile part(folder, key.substr(slash + 1));
  if (part.fd() < 0) return kArchiveNotWritten;
  uint64_t size = 0;
  const UploadStatus packed = PackLogs(logs, options.threads, part.fd(), &size, left_out);
  if (packed != kStored) return packed;
  return part.Keep() ? kStored : kArchiveNotWritten;
}

UploadStatus UploadToStore(const LogFiles& logs, const UploadTarget& target, const std::string& key,
                           const Credentials& credentials, const UploadOptions& options,
                           LeftOutFiles* left_out, StoreFailure* failure) {
  const ScopedFd archive(OpenNamelessFile(options.temp_dir));
  if (!archive.valid()) return kArchiveNotWritten;
  uint64_t size = 0;
  const UploadStatus packed = PackLogs(logs, options.threads, archive.get(), &size, left_out);
  if (packed != kStored) return packed;
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
  // The last to go: by then everything is cleared up.
  const Termination termination;
  UploadStatus status = kArchiveNotWritten;
  StoreFailure failure;
  LeftOutFiles left_out;
  try {
    const Credentials credentials{OrEmpty(access_key_id), OrEmpty(access_key_secret),
                                  OrEmpty(security_token)};
    UploadTarget target;
    LogFiles logs;
    status = ParseUploadTarget(OrEmpty(endpoint), OrEmpty(bucket), &target);
    if (status == kStored && !logs.Collect(OrEmpty(log_dir), &left_out)) status = kNoLogs;
    if (status == kStored) {
      const UploadOptions options = UploadOptionsFromEnvironment();
      const std::string key = MakeObjectKey(OrEmpty(app_id), time(nullptr), RandomHex());
      status = target.is_folder
                   ? UploadToFolder(logs, target, key, options, &left_out)
                   : UploadToStore(logs, target, key, credentials, options, &left_out, &failure);
    }
  } catch (const std::exception&) {
    // Out of memory, or no source of random numbers. The caller is no C++ code.
    status = kArchiveNotWritten;
  }
  left_out.Tell();
  if (status != kStored && Termination::Requested()) failure.reason = "the process is asked to end";
  if (status != kStored) ReportFailure(status, failure);
  return status;
}

}  // namespace reference_sdk
