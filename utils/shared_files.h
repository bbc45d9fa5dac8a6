// Folders and files for the crash support and the general utilities. Not for other users.
#ifndef UTILS_SHARED_FILES_H_
#define UTILS_SHARED_FILES_H_

#include <functional>
#include <string>

namespace tessik::shared {

enum class EntryKind { kFile, kFolder, kOther };

// Calls `visit` for every entry but "." and "..", in the system's order, until it returns false.
// Symbolic links are kOther. False when the folder cannot be opened.
bool VisitDir(const std::string& dir,
              const std::function<bool(const std::string& name, EntryKind kind)>& visit);

// Whether the process may write to what `path` names.
bool IsWritable(const std::string& path);
// Whether `path` leads to anything.
bool Exists(const std::string& path);
// IsWritable, or else whether a folder of mode 0755 could be created there.
bool WritableOrCreated(const std::string& path);

}  // namespace tessik::shared

#endif  // UTILS_SHARED_FILES_H_
