#include "utils/file_utils.h"

#include "utils/shared_files.h"

namespace tessik {
namespace utils {

bool IsDirExists(const std::string& path) { return tessik::shared::IsWritable(path); }

bool DirExistsOrCreat(const std::string& path) { return tessik::shared::WritableOrCreated(path); }

bool isFileExist(const std::string& path) { return tessik::shared::Exists(path); }

}  // namespace utils
}  // namespace tessik
