#include "helper/trusted_path.h"

#include <climits>
#include <cstdlib>

namespace {

bool IsTrusted(uid_t owner, const TrustedOwners& owners) {
  return owner == 0 || owner == owners.caller || owner == owners.program;
}

// One of the folders above `file`.
bool IsFolderOf(const std::string& folder, const std::string& file) {
  return folder == "/" || file.compare(0, folder.size() + 1, folder + "/") == 0;
}

bool IsFileOrFolder(const struct stat& info) {
  return S_ISREG(info.st_mode) || S_ISDIR(info.st_mode);
}

bool MayBeRun(const std::string& part, const TrustedOwners& owners) {
  struct stat link {};
  struct stat info {};
  if (lstat(part.c_str(), &link) != 0 || stat(part.c_str(), &info) != 0) return false;
  // A pipe or a device is no code, whoever writes to it.
  if (!IsFileOrFolder(info)) return true;
  // A link's own mode says nothing: who may change the folder it is in is looked at there.
  return IsTrusted(link.st_uid, owners) && OnlyTrustedMayChange(info, owners);
}

std::string FirstChangeableStep(const std::string& path, const std::string& program,
                                const TrustedOwners& owners) {
  for (size_t slash = 0; slash != std::string::npos;) {
    slash = path.find('/', slash + 1);
    std::string part = path.substr(0, slash);
    if (!IsFolderOf(part, program) && !MayBeRun(part, owners)) return part;
  }
  return "";
}

}  // namespace

bool OnlyTrustedMayChange(const struct stat& info, const TrustedOwners& owners) {
  if (!IsTrusted(info.st_uid, owners)) return false;
  const bool sticky_folder = S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX) != 0;
  if (sticky_folder) return true;
  if ((info.st_mode & S_IWOTH) != 0) return false;
  return (info.st_mode & S_IWGRP) == 0 || info.st_gid == 0;
}

std::string FirstChangeablePart(const std::string& path, const std::string& program,
                                const TrustedOwners& owners) {
  std::string as_given = FirstChangeableStep(path, program, owners);
  if (!as_given.empty()) return as_given;
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return path;
  return FirstChangeableStep(resolved, program, owners);
}
