#include "oru_report/model/image_line.h"

#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

// An address of 0 is printed without "0x".
bool ReadAddress(std::string_view line, size_t* at, uint64_t* value) {
  if (ReadHex(line, at, value)) return true;
  if (line.substr(*at, 2) != "0 ") return false;
  *value = 0;
  ++*at;
  return true;
}

// The name stands between the addresses and the type, one word; it is the path's last part once
// more, and may look like the columns behind it. Returns where the type stands, or npos when
// `name` is not before it. Former versions wrote one blank before the name instead of two.
size_t TypeBehindName(std::string_view line, size_t at, std::string_view name) {
  for (size_t blanks = 2; blanks > 0; --blanks) {
    const size_t type = at + blanks + name.size() + 1;
    if (type > line.size() || line[type - 1] != ' ') continue;
    if (line.substr(at, blanks) != std::string_view("  ", blanks)) continue;
    if (line.substr(at + blanks, name.size()) != name) continue;
    if (line.find(' ', type) == line.find("  <", type)) return type;
  }
  return std::string_view::npos;
}

}  // namespace

bool ParseImage(std::string_view line, Image* image) {
  if (line.size() > kMaxParsedLine) return false;
  size_t at = line.find_first_not_of(' ');
  if (at == std::string_view::npos || !ReadAddress(line, &at, &image->start)) return false;
  at = line.find_first_not_of(" -", at);
  if (at == std::string_view::npos || !ReadAddress(line, &at, &image->end)) return false;
  const std::string_view last = LastPathEntry(line);
  const size_t type = TypeBehindName(line, at, last);
  const bool repeated = type != std::string_view::npos;
  const size_t open = line.find("  <", repeated ? type : at);
  if (open == std::string_view::npos) return false;
  const size_t close = line.find("> ", open);
  if (close == std::string_view::npos) return false;
  image->uuid = line.substr(open + 3, close - open - 3);
  image->path = line.substr(close + 2);
  const std::string_view name_and_type = line.substr(at, open - at);
  image->name = repeated ? last : Trim(name_and_type.substr(0, name_and_type.rfind(' ')));
  return true;
}

}  // namespace oru_report
