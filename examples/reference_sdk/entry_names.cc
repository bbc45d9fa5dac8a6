#include "examples/reference_sdk/entry_names.h"

#include <unordered_set>

#include "examples/reference_sdk/utf8_escape.h"

namespace reference_sdk {

std::vector<std::string> MakeEntryNames(const std::vector<LogFile>& files) {
  std::vector<std::string> names;
  names.reserve(files.size());
  std::vector<size_t> to_escape;
  for (const LogFile& file : files) {
    if (!IsPlainUtf8(file.path)) to_escape.push_back(names.size());
    names.push_back(file.path);
  }
  // Nearly always there is nothing to escape, and then no set is built.
  if (to_escape.empty()) return names;
  std::unordered_set<std::string> taken(names.begin(), names.end());
  for (const size_t i : to_escape) {
    const std::string escaped = EscapeToUtf8(names[i]);
    names[i] = escaped;
    for (int n = 1; !taken.insert(names[i]).second; ++n)
      names[i] = escaped + "~" + std::to_string(n);
  }
  return names;
}

}  // namespace reference_sdk
