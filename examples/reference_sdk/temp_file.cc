#include "examples/reference_sdk/temp_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace reference_sdk {

int OpenNamelessFile(const std::string& folder) {
  std::string path = folder + "/OruRTCSdk.XXXXXX";
  const int fd = mkstemp(path.data());
  if (fd < 0) return -1;
  unlink(path.c_str());
  fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

bool MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0700);
  }
  mkdir(path.c_str(), 0700);
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace reference_sdk
