// Folders and files for the crash support and the general utilities. Not for other users.
#ifndef UTILS_SHARED_FILES_H_
#define UTILS_SHARED_FILES_H_

#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace tessik::shared {

enum class EntryKind { kFile, kFolder, kOther };

// Calls `visit` for every entry but "." and "..", in the system's order, until it returns false.
// Symbolic links are kOther. False when the folder cannot be opened.
bool VisitDir(const std::string& dir,
              const std::function<bool(const std::string& name, EntryKind kind)>& visit);

// Whether the process may write to what `path` names.
inline bool IsWritable(const char* path) { return access(path, W_OK) == 0; }
// Whether `path` leads to anything.
bool Exists(const std::string& path);
// IsWritable, or else whether a folder of mode 0755 could be created there. May be used in a signal
// handler.
inline bool WritableOrCreated(const char* path) {
  return IsWritable(path) || mkdir(path, 0755) == 0;
}

}  // namespace tessik::shared

#endif  // UTILS_SHARED_FILES_H_
