#include "utils/file_utils.h"

#include "utils/shared_files.h"

namespace tessik {
namespace utils {

bool IsDirExists(const std::string& path) { return tessik::shared::IsWritable(path.c_str()); }

bool DirExistsOrCreat(const std::string& path) {
  return tessik::shared::WritableOrCreated(path.c_str());
}

bool isFileExist(const std::string& path) { return tessik::shared::Exists(path); }

}  // namespace utils
}  // namespace tessik
