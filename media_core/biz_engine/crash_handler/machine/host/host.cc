#include "media_core/biz_engine/crash_handler/machine/host/host.h"

#include <sys/utsname.h>

#include <cstring>

namespace CrashHandler::machine {

void MachineName(char* name, size_t room) {
  if (room == 0) return;
  name[0] = '\0';
  struct utsname system = {};
  if (uname(&system) != 0) return;
  const size_t length = strnlen(system.machine, room - 1);
  memcpy(name, system.machine, length);
  name[length] = '\0';
}

const char* CpuTypeName(int32_t type, const char* machine_name) {
  switch (type) {
    case kCpuTypeX86:
      return strcmp(machine_name, "x86_64") == 0 ? "x86_64" : "x86";
    case kCpuTypeArm:
      return "ARM";
    case kCpuTypeX86_64:
      return "x86_64";
    case kCpuTypeArm64:
      return "ARM64";
    default:
      return "unSupport";
  }
}

const char* HostCpuTypeName() {
  int32_t type = 0;
  if (!HostCpuType(&type)) return "unSupport";
  char machine_name[256];
  MachineName(machine_name, sizeof(machine_name));
  return CpuTypeName(type, machine_name);
}

}  // namespace CrashHandler::machine
