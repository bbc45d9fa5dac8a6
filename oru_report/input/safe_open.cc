#include "oru_report/input/safe_open.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY;

bool IsRegular(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// Between looking and opening the file may be another one: it is looked at once more.
int OpenRegular(const std::string& path, int flags) {
  const int descriptor = open(path.c_str(), kFlags | O_NONBLOCK | flags);
  if (descriptor >= 0 && !IsRegular(descriptor)) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

bool IsOfTheSystem(std::string_view path) {
  return StartsWith(path, "/proc/") || StartsWith(path, "/sys/") || StartsWith(path, "/dev/");
}

}  // namespace

int OpenNamedFile(const std::string& path, std::string* error) {
  const int descriptor = open(path.c_str(), kFlags);
  if (descriptor < 0) *error = strerror(errno);
  return descriptor;
}

int OpenFoundFile(const std::string& path, std::string* error) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) {
    *error = strerror(errno);
    return -1;
  }
  if (!S_ISREG(status.st_mode)) {
    *error = "it is no regular file";
    return -1;
  }
  const int descriptor = OpenRegular(path, O_NOFOLLOW);
  if (descriptor < 0) *error = strerror(errno);
  return descriptor;
}

int OpenImageFile(const std::string& path) {
  if (path.empty() || path[0] != '/' || path.find('\0') != std::string::npos) return -1;
  char real[PATH_MAX];
  struct stat status = {};
  // Neither opens anything.
  if (realpath(path.c_str(), real) == nullptr || IsOfTheSystem(real)) return -1;
  if (lstat(real, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return -1;
  return OpenRegular(real, O_NOFOLLOW);
}

}  // namespace oru_report
