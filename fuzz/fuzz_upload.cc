// What the reference SDK makes of its arguments and settings: target, object, entry names, numbers.
#include <algorithm>
#include <array>
#include <limits>
#include <set>

#include "examples/reference_sdk/entry_names.h"
#include "examples/reference_sdk/upload_options.h"
#include "examples/reference_sdk/upload_target.h"
#include "examples/reference_sdk/utf8_escape.h"
#include "fuzz/environment_variable.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/utf8_check.h"

using oru_fuzz::Require;
using reference_sdk::UploadTarget;
using Strings = std::vector<std::string>;

namespace {

const std::string kDigits = "0123456789";
const std::string kAlnum = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ" + kDigits;

bool OnlyOf(const std::string& text, const std::string& characters) {
  return text.find_first_not_of(characters) == std::string::npos;
}

// The bytes that "%XX" stand for.
std::string Decoded(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    const std::string hex = text.substr(i + 1, 2);
    Require(hex.size() == 2 && OnlyOf(hex, "0123456789ABCDEF"), "two digits behind a percent sign");
    bytes += static_cast<char>(std::stoul(hex, nullptr, 16));
    i += 2;
  }
  return bytes;
}

void CheckAuthority(const std::string& text) {
  Require(OnlyOf(text, kAlnum + "-_.:[]"), "characters of a host");
  const size_t bracket = text.find(']');
  Require(text.find_first_of("[]") == (bracket == std::string::npos ? bracket : 0), "brackets");
  const size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
  Require(colon != 0 && !text.empty(), "a host");
  if (colon == std::string::npos) return;
  const std::string port = text.substr(colon + 1);
  Require(!port.empty() && port.size() <= 5 && OnlyOf(port, kDigits), "digits of a port");
  Require(std::stoi(port) >= 1 && std::stoi(port) <= 65535, "range of a port");
}

void CheckUrl(const UploadTarget& target, const std::string& key) {
  const std::string url = reference_sdk::ObjectUrl(target, key);
  Require(url.compare(0, target.base.size() + 1, target.base + "/") == 0, "URL's base");
  const std::string path = url.substr(target.base.size() + 1);
  Require(OnlyOf(path, kAlnum + "-_.~/%"), "URL's characters");
  Require(Decoded(path) == target.bucket + "/" + key, "URL's path");
}

std::string CheckKey(const std::string& app_id, time_t now) {
  const std::string hex = "0123456789abcdef";
  const std::string key = reference_sdk::MakeObjectKey(app_id, now, hex);
  const size_t slash = key.find('/');
  const std::string name = key.substr(0, slash);
  Require(OnlyOf(name, kAlnum + "-_.") && name[0] != '.', "key's folder");
  Require(name.size() == std::clamp<size_t>(app_id.size(), 1, 128), "length of the key's folder");
  for (size_t i = 0; i < name.size(); ++i) {
    Require(name[i] == '_' || name[i] == app_id[i], "key's folder is the application");
  }
  const std::string file = key.substr(slash + 1);
  Require(file.size() == 16 + 1 + hex.size() + 4, "length of the key's file");
  Require(file.substr(16) == "-" + hex + ".zip", "key's file");
  return key;
}

void CheckTarget(const std::string& endpoint, const std::string& bucket, const std::string& key) {
  UploadTarget target;
  const reference_sdk::UploadStatus status =
      reference_sdk::ParseUploadTarget(endpoint, bucket, &target);
  std::string lower = endpoint.substr(0, endpoint.find("://"));
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  const bool known = endpoint.find("://") != std::string::npos &&
                     (lower == "file" || lower == "http" || lower == "https");
  Require(known || status != reference_sdk::kStored, "only known schemes");
  Require(!known || status != reference_sdk::kUnknownScheme, "known schemes are known");
  if (status != reference_sdk::kStored) return;
  Require(target.bucket == bucket && !bucket.empty() && bucket != "." && bucket != "..", "bucket");
  Require(bucket.find('/') == std::string::npos && bucket.size() <= 255, "bucket is one component");
  Require(target.is_folder == (lower == "file"), "folder or store");
  std::string rest = endpoint.substr(lower.size() + 3);
  while (!rest.empty() && rest.back() == '/') rest.pop_back();
  Require(target.base == (target.is_folder ? rest : lower + "://" + rest), "base");
  if (target.is_folder) {
    Require(target.base.empty() || target.base[0] == '/', "absolute folder");
    return;
  }
  CheckAuthority(rest);
  CheckUrl(target, key);
}

// Whether careless extractors can do no harm with it.
bool IsGoodName(const std::string& path) {
  for (size_t i = 0; i < path.size(); ++i) {
    const auto byte = static_cast<unsigned char>(path[i]);
    if (byte < 0x20 || byte == 0x7f || byte == '\\') return false;
    // U+0080 to U+009F.
    if (byte == 0xc2 && i + 1 < path.size() && static_cast<unsigned char>(path[i + 1]) < 0xa0) {
      return false;
    }
  }
  return oru_fuzz::IsWellFormed(path);
}

void CheckEntryNames(const Strings& paths) {
  std::vector<reference_sdk::LogFile> files;
  for (const std::string& path : paths) {
    Require(reference_sdk::IsUtf8(path) == oru_fuzz::IsWellFormed(path), "IsUtf8");
    const std::string escaped = reference_sdk::EscapeToUtf8(path);
    Require(oru_fuzz::IsWellFormed(escaped), "escaped path is UTF-8");
    Require(Decoded(escaped) == path, "escaped path keeps its bytes");
    files.emplace_back();
    files.back().path = path;
  }
  const Strings names = reference_sdk::MakeEntryNames(files);
  Require(names.size() == paths.size(), "a name a file");
  for (size_t i = 0; i < names.size(); ++i) {
    Require(oru_fuzz::IsWellFormed(names[i]), "names are UTF-8");
    if (IsGoodName(paths[i])) Require(names[i] == paths[i], "good names stay");
  }
  Require(std::set<std::string>(names.begin(), names.end()).size() == names.size(),
          "different files have different names");
}

// Digits with a sign and white space in front, as a number in a range; `otherwise` for all else.
long NumberOr(long otherwise, const std::string& text, long lowest, long highest) {
  const size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string::npos) return otherwise;
  const bool sign = text[start] == '-' || text[start] == '+';
  const std::string digits = text.substr(start + (sign ? 1 : 0));
  if (digits.empty() || !OnlyOf(digits, kDigits)) return otherwise;
  const std::string plain = digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
  if (plain.size() > 7) return otherwise;
  const long number = plain.empty() ? 0 : std::stol(plain) * (text[start] == '-' ? -1 : 1);
  return number < lowest || number > highest ? otherwise : number;
}

void CheckOptions(const std::string& text) {
  static const auto* const variables = new std::array<oru_fuzz::EnvironmentVariable*, 7>{
      new oru_fuzz::EnvironmentVariable("ORU_SDK_REGION"),
      new oru_fuzz::EnvironmentVariable("ORU_SDK_CA_FILE"),
      new oru_fuzz::EnvironmentVariable("TMPDIR"),
      new oru_fuzz::EnvironmentVariable("ORU_SDK_CONNECT_TIMEOUT_MS"),
      new oru_fuzz::EnvironmentVariable("ORU_SDK_STALL_TIMEOUT_S"),
      new oru_fuzz::EnvironmentVariable("ORU_SDK_RETRY_PAUSE_MS"),
      new oru_fuzz::EnvironmentVariable("ORU_SDK_THREADS")};
  for (oru_fuzz::EnvironmentVariable* variable : *variables) variable->Set(text);
  const reference_sdk::UploadOptions options = reference_sdk::UploadOptionsFromEnvironment();
  const bool region = !text.empty() && text.size() <= 64 && OnlyOf(text, kAlnum + "-_");
  Require(options.region == (region ? text : "us-east-1"), "region");
  Require(options.ca_file == text, "certificates");
  Require(options.temp_dir == (text.empty() ? "/tmp" : text), "folder");
  Require(options.connect_timeout_ms == NumberOr(10000, text, 1, 600000), "connect time-out");
  Require(options.stall_timeout_s == NumberOr(60, text, 1, 3600), "stall time-out");
  Require(options.retry_pause_ms == NumberOr(1000, text, 0, 60000), "pause");
  Require(options.threads == NumberOr(0, text, 0, 16), "threads");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const auto now = static_cast<time_t>(input.Size()) * 65536 + static_cast<time_t>(input.Size());
  Strings parts = oru_test::PiecesOf(input.Rest(), '\0', true);
  CheckOptions(parts[0]);
  // A folder has no two files of one name.
  const std::set<std::string> paths(parts.begin(), parts.end());
  CheckEntryNames(Strings(paths.begin(), paths.end()));
  parts.resize(std::max<size_t>(parts.size(), 3));
  CheckTarget(parts[0], parts[1], CheckKey(parts[2], now));
  return 0;
}
