#include <mach-o/dyld.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdlib>

#include "helper/privilege.h"

bool RunsPrivileged() { return geteuid() == 0 || issetugid() != 0; }

std::string OwnProgramPath() {
  char path[PATH_MAX];
  uint32_t size = sizeof path;
  char resolved[PATH_MAX];
  if (_NSGetExecutablePath(path, &size) != 0 || realpath(path, resolved) == nullptr) return "";
  return resolved;
}
