#include "tests/support/companion_file.h"

#include <algorithm>

namespace oru_test {
namespace {

using oru_fuzz::Json;

std::string TypeOf(const Json& line) {
  const Json* const type = line.kind == Json::kObject ? line.Find("type") : nullptr;
  return type != nullptr && type->kind == Json::kString ? type->text : "";
}

}  // namespace

std::vector<const Json*> CompanionText::All(const std::string& type) const {
  std::vector<const Json*> all;
  for (const Json& line : lines) {
    if (TypeOf(line) == type) all.push_back(&line);
  }
  return all;
}

std::string CompanionText::Value(const std::string& type, const std::string& name) const {
  const std::vector<const Json*> all = All(type);
  const Json* value = all.empty() ? nullptr : all[0];
  for (size_t at = 0; value != nullptr && at <= name.size();) {
    const size_t dot = std::min(name.find('.', at), name.size());
    value = value->kind == Json::kObject ? value->Find(name.substr(at, dot - at)) : nullptr;
    at = dot + 1;
  }
  return value == nullptr ? "" : value->text;
}

CompanionText ParseCompanion(const std::string& text) {
  CompanionText companion;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    if (end == std::string::npos) {
      companion.error = "a line without an end";
      return companion;
    }
    Json line;
    const std::string bytes = text.substr(at, end - at);
    if (!ReadJson(bytes, oru_fuzz::JsonRules::kStrict, &line) || TypeOf(line).empty()) {
      companion.error = "no object with a type: " + bytes;
      return companion;
    }
    companion.lines.push_back(line);
    at = end + 1;
  }
  const bool begins = !companion.lines.empty() && TypeOf(companion.lines.front()) == "companion";
  const bool ends = begins && TypeOf(companion.lines.back()) == "end";
  if (!ends) companion.error = "it does not begin and end as it should";
  return companion;
}

}  // namespace oru_test
