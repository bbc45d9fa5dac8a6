#include "utils/file_utils.h"

#include "media_core/biz_engine/crash_handler/tools/shared_files.h"

namespace tessik {
namespace utils {

bool IsDirExists(const std::string& path) { return crash_handler_tools::IsWritable(path); }

bool DirExistsOrCreat(const std::string& path) {
  return crash_handler_tools::WritableOrCreated(path);
}

bool isFileExist(const std::string& path) { return crash_handler_tools::Exists(path); }

}  // namespace utils
}  // namespace tessik
