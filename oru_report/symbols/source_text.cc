#include "oru_report/symbols/source_text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "oru_report/input/safe_open.h"
#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"
#include "oru_report/symbols/mapped_file.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

// Debug information may name anything: what is no text is not shown.
bool IsText(std::string_view bytes) { return bytes.find('\0') == std::string_view::npos; }

SourceText LinesOf(std::string_view text, int line, int around) {
  SourceText found;
  const int first = std::max(1, line - around);
  std::string_view one;
  for (int64_t number = 1; number <= int64_t{line} + around && TakeLine(&text, &one); ++number) {
    if (number < first) continue;
    if (EndsWith(one, "\r")) one.remove_suffix(1);
    found.lines.emplace_back(one.substr(0, kMaxSourceLine));
  }
  const bool there = static_cast<int>(found.lines.size()) > line - first;
  if (!there) found.lines.clear();
  found.first = there ? first : 0;
  return found;
}

SourceText ReadAt(const std::string& path, int line, int around) {
  const int descriptor = OpenImageFile(path);
  if (descriptor < 0) return {};
  struct stat status = {};
  const bool known = fstat(descriptor, &status) == 0;
  const MappedFile file(descriptor);
  close(descriptor);
  const std::string_view bytes = file.bytes();
  if (bytes.size() > kMaxSourceBytes || !IsText(bytes)) return {};
  SourceText found = LinesOf(bytes, line, around);
  found.path = path;
  found.changed = known ? static_cast<int64_t>(status.st_mtime) : 0;
  return found;
}

}  // namespace

SourceText ReadSource(const std::string& file, int line, int around,
                      const std::vector<std::string>& folders) {
  if (file.empty() || line <= 0) return {};
  if (file[0] == '/') {
    SourceText found = ReadAt(file, line, around);
    if (found.first != 0) return found;
  }
  for (const std::string& folder : folders) {
    const std::string absolute = AbsolutePath(folder);
    // From the whole path down to the bare name.
    for (size_t start = 0; start != std::string::npos;) {
      const std::string rest = file.substr(file[start] == '/' ? start + 1 : start);
      SourceText found = ReadAt(absolute + "/" + rest, line, around);
      if (found.first != 0) return found;
      start = file.find('/', start + 1);
    }
  }
  return {};
}

}  // namespace oru_report
