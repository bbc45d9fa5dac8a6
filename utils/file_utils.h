// Tests of files and folders by path. The answers are of the moment of the call.
#ifndef UTILS_FILE_UTILS_H_
#define UTILS_FILE_UTILS_H_

#include <string>

#pragma GCC visibility push(default)

namespace tessik {
namespace utils {

// Whether `path` is writable. In spite of its name it does not ask for a folder: a writable file is
// true, a folder that may only be read is false.
bool IsDirExists(const std::string& path);

// True when `path` is writable (a writable file counts too); otherwise creates a folder of mode
// 0755, one level only, and returns whether that succeeded.
bool DirExistsOrCreat(const std::string& path);

// Whether `path` names anything that exists; a symbolic link that leads nowhere does not.
bool isFileExist(const std::string& path);

}  // namespace utils
}  // namespace tessik

#pragma GCC visibility pop

#endif  // UTILS_FILE_UTILS_H_
