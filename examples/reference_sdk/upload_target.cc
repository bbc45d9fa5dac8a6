#include "examples/reference_sdk/upload_target.h"

#include <strings.h>

#include <cstdio>
#include <random>

namespace reference_sdk {
namespace {

constexpr size_t kMaxAppIdBytes = 128;
constexpr char kAlnum[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// True with the rest of `text` when it starts with `scheme`.
bool TakeScheme(const std::string& text, const char* scheme, std::string* rest) {
  const size_t length = std::string(scheme).size();
  if (strncasecmp(text.c_str(), scheme, length) != 0) return false;
  *rest = text.substr(length);
  return true;
}

bool IsPort(const std::string& text) {
  if (text.empty() || text.size() > 5) return false;
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  const int port = std::stoi(text);
  return port >= 1 && port <= 65535;
}

// HOST, HOST:PORT, [V6] or [V6]:PORT.
bool IsAuthority(const std::string& text) {
  size_t host_end = 0;
  if (!text.empty() && text[0] == '[') {
    host_end = text.find(']');
    if (host_end == std::string::npos || host_end < 3) return false;
    if (text.substr(1, host_end - 1).find_first_not_of("0123456789abcdefABCDEF:.") !=
        std::string::npos) {
      return false;
    }
    ++host_end;
  } else {
    host_end = text.find(':');
    const std::string host = text.substr(0, host_end);
    if (host.empty() || host.find_first_not_of(std::string(kAlnum) + "-_.") != std::string::npos) {
      return false;
    }
    if (host_end == std::string::npos) return true;
  }
  if (host_end == text.size()) return true;
  return text[host_end] == ':' && IsPort(text.substr(host_end + 1));
}

bool IsBucket(const std::string& bucket) {
  if (bucket.empty() || bucket.size() > 255 || bucket == "." || bucket == "..") return false;
  for (const char c : bucket) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f || c == '/') return false;
  }
  return true;
}

void DropTrailingSlashes(std::string* text) {
  while (!text->empty() && text->back() == '/') text->pop_back();
}

}  // namespace

UploadStatus ParseUploadTarget(const std::string& endpoint, const std::string& bucket,
                               UploadTarget* target) {
  if (endpoint.empty() || !IsBucket(bucket)) return kNoTarget;
  target->bucket = bucket;
  std::string rest;
  if (TakeScheme(endpoint, "file://", &rest)) {
    if (rest.empty() || rest[0] != '/') return kNoTarget;
    DropTrailingSlashes(&rest);
    target->is_folder = true;
    target->base = rest;
    return kStored;
  }
  const bool secure = TakeScheme(endpoint, "https://", &rest);
  if (!secure && !TakeScheme(endpoint, "http://", &rest)) return kUnknownScheme;
  DropTrailingSlashes(&rest);
  if (!IsAuthority(rest)) return kNoTarget;
  target->is_folder = false;
  target->base = (secure ? "https://" : "http://") + rest;
  return kStored;
}

std::string MakeObjectKey(const std::string& app_id, time_t now, const std::string& random_hex) {
  const std::string kept = std::string(kAlnum) + "-_.";
  std::string name = app_id.substr(0, kMaxAppIdBytes);
  for (char& c : name) {
    if (kept.find(c) == std::string::npos) c = '_';
  }
  if (name.empty()) name = "_";
  // Neither "." nor "..", and no hidden folder.
  if (name[0] == '.') name[0] = '_';
  struct tm utc {};
  gmtime_r(&now, &utc);
  char stamp[32];
  const size_t length = strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &utc);
  return name + "/" + std::string(stamp, length) + "-" + random_hex + ".zip";
}

std::string RandomHex() {
  std::random_device source;
  char text[17];
  snprintf(text, sizeof text, "%08x%08x", static_cast<unsigned>(source()),
           static_cast<unsigned>(source()));
  return text;
}

std::string PercentEncode(const std::string& text) {
  static const std::string unreserved = std::string(kAlnum) + "-_.~/";
  std::string encoded;
  for (const char c : text) {
    if (unreserved.find(c) != std::string::npos) {
      encoded += c;
      continue;
    }
    char hex[4];
    snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    encoded += hex;
  }
  return encoded;
}

std::string ObjectUrl(const UploadTarget& target, const std::string& key) {
  return target.base + "/" + PercentEncode(target.bucket) + "/" + PercentEncode(key);
}

}  // namespace reference_sdk
