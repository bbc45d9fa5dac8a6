#include <sys/auxv.h>
#include <unistd.h>

#include <climits>

#include "helper/privilege.h"

bool RunsPrivileged() { return geteuid() == 0 || getauxval(AT_SECURE) != 0; }

std::string OwnProgramPath() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : "";
}
