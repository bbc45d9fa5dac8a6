#include "oru_report/text/path_text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <vector>

namespace oru_report {

std::string_view LastPathEntry(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view FolderOf(std::string_view path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return path.substr(0, std::max<size_t>(slash, 1));
}

std::string ShortPath(std::string_view path) {
  std::vector<std::string_view> kept;
  const bool absolute = !path.empty() && path[0] == '/';
  for (size_t start = 0; start <= path.size();) {
    const size_t end = std::min(path.find('/', start), path.size());
    const std::string_view part = path.substr(start, end - start);
    start = end + 1;
    if (part.empty() || part == ".") continue;
    if (part == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else if (part != ".." || !absolute) {
      kept.push_back(part);
    }
  }
  std::string text;
  for (const std::string_view part : kept) {
    if (!text.empty() || absolute) text += '/';
    text += part;
  }
  return text;
}

std::string AbsolutePath(const std::string& path) {
  char real[PATH_MAX];
  return realpath(path.c_str(), real) == nullptr ? path : real;
}

}  // namespace oru_report
