#include "examples/reference_sdk/upload_options.h"

#include <cerrno>
#include <cstdlib>

namespace reference_sdk {
namespace {

void ReadNumber(const char* name, long lowest, long highest, long* value) {
  const char* text = getenv(name);
  if (text == nullptr || *text == '\0') return;
  char* end = nullptr;
  errno = 0;
  const long number = strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || number < lowest || number > highest) return;
  *value = number;
}

void ReadMebibytes(const char* name, uint64_t* bytes) {
  long number = 0;
  ReadNumber(name, 5, 5120, &number);
  if (number != 0) *bytes = static_cast<uint64_t>(number) * kMebibyte;
}

void ReadText(const char* name, std::string* value) {
  const char* text = getenv(name);
  if (text != nullptr && *text != '\0') *value = text;
}

bool IsRegion(const std::string& text) {
  const char* allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
  return text.size() <= 64 && text.find_first_not_of(allowed) == std::string::npos;
}

}  // namespace

UploadOptions UploadOptionsFromEnvironment() {
  UploadOptions options;
  std::string region;
  ReadText("ORU_SDK_REGION", &region);
  if (!region.empty() && IsRegion(region)) options.region = region;
  ReadText("ORU_SDK_CA_FILE", &options.ca_file);
  ReadText("TMPDIR", &options.temp_dir);
  ReadNumber("ORU_SDK_CONNECT_TIMEOUT_MS", 1, 600000, &options.connect_timeout_ms);
  ReadNumber("ORU_SDK_STALL_TIMEOUT_S", 1, 3600, &options.stall_timeout_s);
  ReadNumber("ORU_SDK_RETRY_PAUSE_MS", 0, 60000, &options.retry_pause_ms);
  ReadMebibytes("ORU_SDK_SINGLE_PUT_MIB", &options.single_put_bytes);
  ReadMebibytes("ORU_SDK_PART_MIB", &options.part_bytes);
  ReadNumber("ORU_SDK_THREADS", 0, 16, &options.threads);
  return options;
}

}  // namespace reference_sdk
