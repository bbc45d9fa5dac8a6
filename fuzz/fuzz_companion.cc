// Companions of any bytes: read within their bounds, shown as rows, and the lines that a strict
// reader takes as well.
#include <algorithm>
#include <string>

#include "fuzz/fuzz_support.h"
#include "fuzz/json_reader.h"
#include "oru_report/model/companion.h"
#include "oru_report/render/companion_rows.h"

using oru_fuzz::Require;

namespace {

// Every line that is taken for one of a companion is JSON.
void CheckLine(const std::string& line) {
  const oru_report::Companion companion = oru_report::ParseCompanion(line + "\n");
  oru_fuzz::Json json;
  const bool utf8 = std::all_of(line.begin(), line.end(), [](char c) { return (c & 0x80) == 0; });
  const bool plain = std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20; });
  // Halves of pairs are taken for a mark of what is missing.
  const bool pairs =
      line.find("\\ud") != std::string::npos || line.find("\\uD") != std::string::npos;
  if (companion.lines.empty() || !utf8 || !plain || pairs) return;
  Require(oru_fuzz::ReadJson(line, oru_fuzz::JsonRules::kStrict, &json), "a line is JSON");
  Require(json.kind == oru_fuzz::Json::kObject, "a line is an object");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const oru_report::Companion companion = oru_report::ParseCompanion(text);
  const auto ends = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  Require(companion.lines.size() <= ends, "a line has an end");
  RowsOf(companion);
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    CheckLine(text.substr(at, end - at));
    at = end + 1;
  }
  return 0;
}
