// Paths as texts.
#ifndef ORU_REPORT_TEXT_PATH_TEXT_H_
#define ORU_REPORT_TEXT_PATH_TEXT_H_

#include <string>
#include <string_view>

namespace oru_report {

// What stands behind the last "/".
std::string_view LastPathEntry(std::string_view path);

// What stands before the last "/", "" without one, "/" for a file of the root.
std::string_view FolderOf(std::string_view path);

// The path without "." and "NAME/..", which compilers leave in the names they were given. For
// showing only: a symbolic link on the way can make it another file's.
std::string ShortPath(std::string_view path);

// The path from the root, without links, of a file or folder that exists; others stay as they are.
std::string AbsolutePath(const std::string& path);

}  // namespace oru_report

#endif  // ORU_REPORT_TEXT_PATH_TEXT_H_
