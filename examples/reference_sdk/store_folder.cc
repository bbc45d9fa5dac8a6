#include "examples/reference_sdk/store_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "examples/reference_sdk/temp_file.h"

namespace reference_sdk {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr char kPartEnding[] = ".zip.part";

ScopedFd OpenOrMake(const ScopedFd& parent, const std::string& name) {
  if (!parent.valid()) return ScopedFd();
  if (mkdirat(parent.get(), name.c_str(), 0700) != 0 && errno != EEXIST) return ScopedFd();
  struct stat info {};
  if (fstatat(parent.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return ScopedFd();
  const bool followed = S_ISLNK(info.st_mode) && MayFollowLink(info, geteuid());
  return ScopedFd(openat(parent.get(), name.c_str(), kFolderFlags | (followed ? 0 : O_NOFOLLOW)));
}

bool EndsIn(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool Lock(int fd, int how) {
  int result = -1;
  do {
    result = flock(fd, how);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// A lock that was had too late is one on a file that has no name any more.
bool HasName(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 && info.st_nlink > 0;
}

void RemoveIfAbandoned(const ScopedFd& folder, const char* name) {
  const ScopedFd part(openat(folder.get(), name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (part.valid() && Lock(part.get(), LOCK_EX | LOCK_NB) && HasName(part.get())) {
    unlinkat(folder.get(), name, 0);
  }
}

ScopedFd CreateLocked(const ScopedFd& folder, const std::string& name) {
  // Again only when somebody took the new file for an abandoned one before it was locked.
  for (int attempt = 0; attempt < 10; ++attempt) {
    ScopedFd fd(openat(folder.get(), name.c_str(),
                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd.valid()) return fd;
    // A file system without locks has parts that no other upload can lock, and so remove, either.
    Lock(fd.get(), LOCK_EX);
    if (HasName(fd.get())) return fd;
  }
  return ScopedFd();
}

}  // namespace

bool MayFollowLink(const struct stat& link, uid_t user) {
  return link.st_uid == user || link.st_uid == 0;
}

ScopedFd OpenStoreFolder(const std::string& base, const std::string& bucket,
                         const std::string& app) {
  if (!base.empty() && !MakeFolders(base)) return ScopedFd();
  const ScopedFd root(open(base.empty() ? "/" : base.c_str(), kFolderFlags));
  return OpenOrMake(OpenOrMake(root, bucket), app);
}

PartFile::PartFile(const ScopedFd& folder, const std::string& name)
    : folder_(folder), name_(name), part_(name + ".part"), fd_(CreateLocked(folder, part_)) {}

PartFile::~PartFile() {
  if (fd_.valid()) unlinkat(folder_.get(), part_.c_str(), 0);
}

bool PartFile::Keep() {
  const int fd = fd_.Release();
  const bool renamed = renameat(folder_.get(), part_.c_str(), folder_.get(), name_.c_str()) == 0;
  // Some file systems report a failed write only here.
  const bool closed = close(fd) == 0;
  if (renamed && closed) return true;
  unlinkat(folder_.get(), (renamed ? name_ : part_).c_str(), 0);
  return false;
}

void RemoveAbandonedParts(const ScopedFd& folder) {
  ScopedFd fd(openat(folder.get(), ".", kFolderFlags));
  if (!fd.valid()) return;
  DIR* entries = fdopendir(fd.get());
  if (entries == nullptr) return;
  fd.Release();
  while (const dirent* entry = readdir(entries)) {
    if (EndsIn(entry->d_name, kPartEnding)) RemoveIfAbandoned(folder, entry->d_name);
  }
  closedir(entries);
}

}  // namespace reference_sdk
