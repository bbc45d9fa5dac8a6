#include "tests/support/files.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

namespace oru_test {
namespace {

bool IsDirectory(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void CollectFiles(const std::string& root, const std::string& below,
                  std::vector<std::string>* found) {
  for (const std::string& name : ListDir(root + below)) {
    const std::string relative = below + "/" + name;
    struct stat info {};
    if (lstat((root + relative).c_str(), &info) != 0) continue;
    if (S_ISDIR(info.st_mode)) CollectFiles(root, relative, found);
    if (S_ISREG(info.st_mode)) found->push_back(relative.substr(1));
  }
}

}  // namespace

TempDir::TempDir() {
  const char* base = getenv("TMPDIR");
  std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/oru_test.XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    ADD_FAILURE() << "mkdtemp " << pattern << ": " << strerror(errno);
    return;
  }
  path_ = pattern;
}

TempDir::~TempDir() {
  if (!path_.empty()) RemoveAll(path_);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    ADD_FAILURE() << "cannot read " << path;
    return "";
  }
  std::string content;
  std::vector<char> piece(64 << 10);
  while (in.read(piece.data(), static_cast<std::streamsize>(piece.size())), in.gcount() > 0) {
    content.append(piece.data(), static_cast<size_t>(in.gcount()));
  }
  return content;
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  if (!out) ADD_FAILURE() << "cannot write " << path;
}

std::string ReadLogFile(const std::string& path) {
  std::string text = ReadFile(path);
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
  return text;
}

bool PathExists(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0;
}

int DescriptorOf(const std::string& path) {
  struct stat wanted {};
  stat(path.c_str(), &wanted);
  for (int fd = 3; fd < 100; ++fd) {
    struct stat info {};
    if (fstat(fd, &info) == 0 && info.st_ino == wanted.st_ino && info.st_dev == wanted.st_dev) {
      return fd;
    }
  }
  return -1;
}

int NextDescriptor() {
  const int descriptor = dup(STDERR_FILENO);
  close(descriptor);
  return descriptor;
}

void MakeDirs(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0755);
  }
  if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
    ADD_FAILURE() << "mkdir " << path << ": " << strerror(errno);
  }
}

std::vector<std::string> ListDir(const std::string& path) {
  std::vector<std::string> names;
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return names;
  while (const dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> ListFilesRecursively(const std::string& path) {
  std::vector<std::string> found;
  CollectFiles(path, "", &found);
  std::sort(found.begin(), found.end());
  return found;
}

void RemoveAll(const std::string& path) {
  if (IsDirectory(path)) {
    chmod(path.c_str(), 0700);
    for (const std::string& name : ListDir(path)) RemoveAll(path + "/" + name);
    rmdir(path.c_str());
    return;
  }
  unlink(path.c_str());
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace oru_test
