#include <unistd.h>

#include "media_core/biz_engine/crash_handler/tools/child_command.h"

namespace CrashHandler::dumps {

bool InheritStandardDescriptorsOnly(posix_spawn_file_actions_t* /*actions*/, short* flags) {
  // What the file actions made stays open.
  *flags = static_cast<short>(*flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
  return true;
}

}  // namespace CrashHandler::dumps
