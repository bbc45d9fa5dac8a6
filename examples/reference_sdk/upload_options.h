// The few numbers of an upload that a deployment may want to change.
#ifndef EXAMPLES_REFERENCE_SDK_UPLOAD_OPTIONS_H_
#define EXAMPLES_REFERENCE_SDK_UPLOAD_OPTIONS_H_

#include <cstdint>
#include <string>

namespace reference_sdk {

constexpr uint64_t kMebibyte = 1024 * 1024;

struct UploadOptions {
  // The region that requests are signed for (ORU_SDK_REGION; letters, digits, "-" and "_").
  std::string region = "us-east-1";
  // A file of PEM certificates that are trusted instead of the system's and of its folder
  // (ORU_SDK_CA_FILE).
  std::string ca_file;
  // Folder of the temporary archive of an upload to a store (TMPDIR).
  std::string temp_dir = "/tmp";
  // For a connection to stand, TLS included (ORU_SDK_CONNECT_TIMEOUT_MS, 1 to 600000).
  long connect_timeout_ms = 10000;
  // A transfer slower than kStallBytesPerSecond for so long has stalled (ORU_SDK_STALL_TIMEOUT_S,
  // 1 to 3600).
  long stall_timeout_s = 60;
  // Before the second try; three times as long before the third (ORU_SDK_RETRY_PAUSE_MS, 0 to
  // 60000).
  long retry_pause_ms = 1000;
  // A larger archive goes to a store in parts (ORU_SDK_SINGLE_PUT_MIB, 5 to 5120).
  uint64_t single_put_bytes = 1024 * kMebibyte;
  // Of one part (ORU_SDK_PART_MIB, 5 to 5120).
  uint64_t part_bytes = 64 * kMebibyte;
  // Threads that compress; 0 is one a processor, at most kMaxAutomaticThreads (ORU_SDK_THREADS, 0
  // to 16).
  long threads = 0;
};

constexpr long kStallBytesPerSecond = 1024;
constexpr int kUploadTries = 3;
constexpr unsigned kMaxAutomaticThreads = 4;

// The defaults with what the environment says. A value that is not a number, is out of its range or
// is empty is ignored: no setting can switch a time-out off.
UploadOptions UploadOptionsFromEnvironment();

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_UPLOAD_OPTIONS_H_
