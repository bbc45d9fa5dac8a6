#include <sys/auxv.h>

#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"

namespace CrashHandler::machine {

bool HostCpuType(int32_t* type) {
  struct Known {
    const char* machine_name;
    int32_t type;
  };
  static constexpr Known kKnown[] = {
      {"x86_64", kCpuTypeX86_64}, {"i686", kCpuTypeX86},   {"i386", kCpuTypeX86},
      {"aarch64", kCpuTypeArm64}, {"armv7l", kCpuTypeArm}, {"armv8l", kCpuTypeArm},
  };
  char name[256];
  MachineName(name, sizeof(name));
  for (const Known& known : kKnown) {
    if (strcmp(known.machine_name, name) != 0) continue;
    *type = known.type;
    return true;
  }
  return false;
}

bool RunsWithMoreRights() { return getauxval(AT_SECURE) != 0; }

}  // namespace CrashHandler::machine
