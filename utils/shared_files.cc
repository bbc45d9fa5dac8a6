#include "utils/shared_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

namespace tessik::shared {

namespace {

struct DirCloser {
  void operator()(DIR* dir) const { closedir(dir); }
};

// Some file systems leave the kind of an entry to a separate call.
EntryKind KindOf(DIR* dir, const dirent& entry) {
  if (entry.d_type == DT_REG) return EntryKind::kFile;
  if (entry.d_type == DT_DIR) return EntryKind::kFolder;
  if (entry.d_type != DT_UNKNOWN) return EntryKind::kOther;
  struct stat status = {};
  if (fstatat(dirfd(dir), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return EntryKind::kOther;
  }
  if (S_ISREG(status.st_mode)) return EntryKind::kFile;
  return S_ISDIR(status.st_mode) ? EntryKind::kFolder : EntryKind::kOther;
}

bool IsSelfOrParent(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

bool VisitDir(const std::string& dir,
              const std::function<bool(const std::string& name, EntryKind kind)>& visit) {
  const std::unique_ptr<DIR, DirCloser> stream(opendir(dir.c_str()));
  if (!stream) return false;
  while (const dirent* entry = readdir(stream.get())) {
    if (IsSelfOrParent(entry->d_name)) continue;
    if (!visit(entry->d_name, KindOf(stream.get(), *entry))) break;
  }
  return true;
}

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace tessik::shared
