#include "media_core/biz_engine/crash_handler/tools/dump_files.h"

namespace CrashHandler::dumps {

int64_t ChangedMs(const struct stat& info) {
  return int64_t{info.st_mtimespec.tv_sec} * 1000 + info.st_mtimespec.tv_nsec / 1000000;
}

}  // namespace CrashHandler::dumps
