#include "media_core/biz_engine/crash_handler/tools/child_command.h"

namespace CrashHandler::dumps {

bool InheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* /*flags*/) {
  return posix_spawn_file_actions_addclosefrom_np(actions, 3) == 0;
}

}  // namespace CrashHandler::dumps
