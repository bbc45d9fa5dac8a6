#include "oru_report/symbols/symbol_index.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "oru_report/input/safe_open.h"
#include "oru_report/model/line_text.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

constexpr int kMaxDepth = 16;
constexpr size_t kMaxFiles = size_t{1} << 20;

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  DIR* opened = opendir(folder.c_str());
  if (opened == nullptr) return names;
  while (const dirent* entry = readdir(opened)) names.emplace_back(entry->d_name);
  closedir(opened);
  std::sort(names.begin(), names.end());
  return names;
}

// Files "ab/cdef...[.debug]" of the tree whose name begins with the id, zeros at its end aside.
void FindInTree(const std::string& tree, std::string_view id, std::vector<std::string>* found) {
  const std::string folder = tree + "/" + std::string(id.substr(0, 2));
  for (const std::string& name : NamesIn(folder)) {
    const std::string digits = name.substr(0, name.find('.'));
    if (IsReportedId(std::string(id.substr(0, 2)) + digits, id))
      found->push_back(folder + "/" + name);
  }
}

// "libx.so" of "symbols/libx.so.debug".
std::string NameOf(const std::string& path) {
  constexpr std::string_view kDebug = ".debug";
  std::string_view name = LastPathEntry(path);
  if (EndsWith(name, kDebug)) name.remove_suffix(kDebug.size());
  return std::string(name);
}

}  // namespace

std::string ReportedForm(std::string_view file_id) {
  std::string id(file_id.substr(0, 32));
  id.resize(32, '0');
  return id;
}

void SymbolIndex::AddFile(const std::string& path) {
  if (++files_ > kMaxFiles) return;
  std::string error;
  const int descriptor = OpenFoundFile(path, &error);
  if (descriptor < 0) return;
  for (const BinarySlice& slice : ReadBinarySlices(descriptor)) {
    by_id_.emplace(ReportedForm(slice.id), path);
    by_name_.try_emplace(NameOf(path), NamedBinary{path, ReportedForm(slice.id)});
  }
  close(descriptor);
}

void SymbolIndex::AddFolder(const std::string& path, int depth) {
  if (LastPathEntry(path) == ".build-id") {
    build_id_folders_.push_back(path);
    return;
  }
  if (depth > kMaxDepth) return;
  for (const std::string& name : NamesIn(path)) {
    if (name != "." && name != "..") AddPath(path + "/" + name, depth + 1);
  }
}

void SymbolIndex::AddPath(const std::string& path, int depth) {
  struct stat status = {};
  // A link that the user named is followed; others could lead anywhere, and in circles.
  const int result = depth == 0 ? stat(path.c_str(), &status) : lstat(path.c_str(), &status);
  if (result != 0) {
    if (depth == 0) problems_.push_back(path + ": " + strerror(errno));
    return;
  }
  if (S_ISDIR(status.st_mode)) return AddFolder(path, depth);
  if (!S_ISREG(status.st_mode)) return;
  char real[4096];
  const bool named =
      depth == 0 && path.size() < sizeof real && realpath(path.c_str(), real) != nullptr;
  AddFile(named ? real : path);
}

void SymbolIndex::ReadAll() {
  read_ = true;
  for (std::string path : paths_) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    AddPath(path, 0);
  }
  build_id_folders_.push_back(system_ + "/.build-id");
}

bool SymbolIndex::FindNamed(std::string_view image_name, NamedBinary* found) {
  if (!read_) ReadAll();
  const auto known = by_name_.find(std::string(image_name));
  if (known == by_name_.end()) return false;
  *found = known->second;
  return true;
}

const std::vector<std::string>& SymbolIndex::Problems() {
  if (!read_) ReadAll();
  return problems_;
}

std::vector<std::string> SymbolIndex::Find(std::string_view reported_id) {
  const bool hexadecimal = reported_id.size() == 32 &&
                           reported_id.find_first_not_of("0123456789abcdef") == std::string::npos;
  // Digits only: they become part of a path.
  if (!hexadecimal) return {};
  if (!read_) ReadAll();
  std::vector<std::string> found;
  const auto [first, last] = by_id_.equal_range(std::string(reported_id));
  for (auto at = first; at != last; ++at) found.push_back(at->second);
  // Of several the order of their names decides, not that of a table.
  std::sort(found.begin(), found.end());
  for (const std::string& tree : build_id_folders_) FindInTree(tree, reported_id, &found);
  return found;
}

}  // namespace oru_report
