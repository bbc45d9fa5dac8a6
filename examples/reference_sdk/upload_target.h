// Where an archive goes: what endpoint, bucket and application id mean together.
#ifndef EXAMPLES_REFERENCE_SDK_UPLOAD_TARGET_H_
#define EXAMPLES_REFERENCE_SDK_UPLOAD_TARGET_H_

#include <ctime>
#include <string>

#include "examples/reference_sdk/upload_status.h"

namespace reference_sdk {

struct UploadTarget {
  // A folder on this machine, or an object store.
  bool is_folder = false;
  // For a folder: its absolute path, taken byte by byte (no percent decoding), no trailing slash.
  // For a store: "http://HOST[:PORT]" or "https://HOST[:PORT]".
  std::string base;
  // One path component; kept as given.
  std::string bucket;
};

// kStored when `target` was filled in, else kNoTarget or kUnknownScheme. Schemes compare without
// case. A store's endpoint is host and optional port alone: user names, paths, queries and
// anything that no host name or bracketed IPv6 address holds make it kNoTarget.
UploadStatus ParseUploadTarget(const std::string& endpoint, const std::string& bucket,
                               UploadTarget* target);

// "APPID/20260102T030405Z-0123456789abcdef.zip". Every byte of the application id but letters,
// digits, "-", "_" and "." becomes "_", as does a leading "."; it is cut to 128 bytes; an empty one
// is "_".
std::string MakeObjectKey(const std::string& app_id, time_t now, const std::string& random_hex);

// 16 lower-case hexadecimal digits from the system's random source.
std::string RandomHex();

// All bytes but letters, digits and "-_.~/" percent-encoded, upper-case: the form that the
// signature is computed over.
std::string PercentEncode(const std::string& text);

// The URL of an object in path style.
std::string ObjectUrl(const UploadTarget& target, const std::string& key);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_UPLOAD_TARGET_H_
