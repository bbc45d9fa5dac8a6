// URL parameters and JSON keys.
#include <map>

#include "fuzz/fuzz_support.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "utils/string_utils.h"
#include "utils/url_utils.h"

using oru_fuzz::Require;
using Fields = std::vector<std::string>;
using Parameters = std::map<std::string, std::string>;

namespace {

bool IsDelimiter(const std::string& token) { return token == "?" || token == "=" || token == "&"; }

std::string Build(const std::string& base, const Parameters& parameters) {
  std::string url = base;
  for (const auto& parameter : parameters) {
    url +=
        (&parameter == &*parameters.begin() ? "?" : "&") + parameter.first + "=" + parameter.second;
  }
  return url;
}

Parameters Extract(const Fields& tokens, const std::string* removed) {
  Parameters parameters;
  std::string previous;
  std::string name;
  for (const std::string& token : tokens) {
    if (IsDelimiter(token)) {
      previous = token;
      continue;
    }
    if (removed != nullptr && name == *removed) {
      name = "";
      continue;
    }
    if (previous == "?" || previous == "&") name = token;
    if (previous == "=" && parameters.count(name) == 0) parameters[name] = token;
  }
  return parameters;
}

void CheckUrl(const std::string& url, const std::string& key) {
  const Fields tokens = oru_test::SplitAtSetReference(url, "?=&", true);
  const tessik::utils::UrlParts parts = tessik::utils::extractUrl(url);
  Require(parts.first.empty() && parts.second == Extract(tokens, nullptr), "extractUrl");
  Require(tessik::utils::buildUrl({url, parts.second}) == Build(url, parts.second), "buildUrl");
  const std::string expected = Build(tokens[0], Extract(tokens, &key));
  Require(tessik::utils::removeUrlKey(url, key) == expected, "removeUrlKey");
  Require(CrashHandler::RemoveUrlKey(url, key) == expected, "RemoveUrlKey");
}

// Character by character: up to the first key all stays; behind a key its value goes, and of what
// follows the fields that are not empty stay, each with a comma.
std::string WithoutKey(const std::string& json, const std::string& key) {
  const std::string text = json + key;
  std::string result;
  std::string kept;
  std::string field;
  bool before_keys = true;
  bool in_value = false;
  const auto end_field = [&] {
    if (!before_keys && !in_value && !field.empty()) kept += field + ',';
    field.clear();
    in_value = false;
  };
  for (size_t i = 0; i < text.size();) {
    if (text.compare(i, key.size(), key) == 0) {
      end_field();
      result += kept;
      kept.clear();
      before_keys = false;
      in_value = true;
      i += key.size();
    } else if (!before_keys && text[i] == ',') {
      end_field();
      ++i;
    } else {
      (before_keys ? kept : field) += text[i++];
    }
  }
  // What stands behind the last key that is whole counts as cut off.
  return result;
}

void CheckJson(const std::string& json, const std::string& key) {
  const std::string expected = key.empty() ? json : WithoutKey(json, key);
  Require(tessik::utils::removeJsonKey(json, key) == expected, "removeJsonKey");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const std::string key = input.Text(input.Byte() % 5);
  const std::string text = input.Rest();
  CheckUrl(text, key);
  CheckJson(text, key);
  return 0;
}
