#include "examples/reference_sdk/log_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace reference_sdk {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

int OpenAt(int folder, const char* name, int flags) {
  int fd = -1;
  do {
    fd = openat(folder, name, flags);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Opens `path` component by component from `root`, so that no link is followed anywhere and a path
// longer than the system's limit opens too. An empty path opens the root again.
int OpenBelow(int root, const std::string& path, int flags) {
  ScopedFd folder(OpenAt(root, ".", kFolderFlags));
  size_t start = 0;
  size_t slash = path.find('/');
  for (; folder.valid() && slash != std::string::npos; slash = path.find('/', start)) {
    const std::string name = path.substr(start, slash - start);
    folder.Reset(OpenAt(folder.get(), name.c_str(), kFolderFlags | O_NOFOLLOW));
    start = slash + 1;
  }
  if (!folder.valid()) return -1;
  if (start == path.size()) return folder.Release();
  return OpenAt(folder.get(), path.c_str() + start, flags | O_NOFOLLOW | O_CLOEXEC);
}

bool IsSelfOrParent(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

int ScopedFd::Release() {
  const int fd = fd_;
  fd_ = -1;
  return fd;
}

void ScopedFd::Reset(int fd) {
  if (fd_ >= 0) close(fd_);
  fd_ = fd;
}

bool LogFiles::Collect(const std::string& directory, LeftOutFiles* left_out) {
  files_.clear();
  total_bytes_ = 0;
  if (directory.empty()) return false;
  root_.Reset(OpenAt(AT_FDCWD, directory.c_str(), kFolderFlags));
  if (!root_.valid()) return false;
  // A list instead of recursion: neither the stack nor the open files grow with the depth.
  std::vector<std::string> folders_left;
  if (CollectFolder("", &folders_left) != 0) return false;
  while (!folders_left.empty()) {
    const std::string folder = folders_left.back();
    folders_left.pop_back();
    const int error = CollectFolder(folder, &folders_left);
    if (error != 0 && !MayBeLeftOut(error)) return false;
    if (error != 0) left_out->Add(folder, error);
  }
  std::sort(files_.begin(), files_.end(),
            [](const LogFile& a, const LogFile& b) { return a.path < b.path; });
  return true;
}

int LogFiles::CollectFolder(const std::string& folder, std::vector<std::string>* folders_left) {
  ScopedFd fd(OpenBelow(root_.get(), folder, kFolderFlags));
  if (!fd.valid()) return errno;
  DIR* entries = fdopendir(fd.get());
  if (entries == nullptr) return errno;
  const int folder_fd = fd.Release();
  errno = 0;
  while (const dirent* entry = readdir(entries)) {
    AddEntry(folder_fd, folder, entry->d_name, folders_left);
    errno = 0;
  }
  const int error = errno;
  closedir(entries);
  return error;
}

void LogFiles::AddEntry(int folder_fd, const std::string& folder, const char* name,
                        std::vector<std::string>* folders_left) {
  if (IsSelfOrParent(name)) return;
  struct stat info {};
  if (fstatat(folder_fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return;
  const std::string path = folder.empty() ? name : folder + "/" + name;
  if (S_ISDIR(info.st_mode)) folders_left->push_back(path);
  if (!S_ISREG(info.st_mode)) return;
  files_.push_back({path, static_cast<uint64_t>(info.st_size)});
  total_bytes_ += files_.back().size;
}

int LogFiles::Open(const LogFile& file, struct stat* info) const {
  ScopedFd fd(OpenBelow(root_.get(), file.path, O_RDONLY | O_NONBLOCK));
  if (!fd.valid() || fstat(fd.get(), info) != 0) return -1;
  if (S_ISREG(info->st_mode)) return fd.Release();
  errno = ENXIO;
  return -1;
}

}  // namespace reference_sdk
