#include "media_core/biz_engine/crash_handler/machine/images/program_file_linux.h"

#include <fcntl.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"

namespace CrashHandler::machine {
namespace {

constexpr const char* kLinks[] = {"/proc/self/exe", "/proc/thread-self/exe"};

}  // namespace

int OpenProgramFile() {
  int file = -1;
  for (const char* link : kLinks) {
    if (file < 0) file = OpenFile(link, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  }
  return file;
}

void ReadProgramPath(char* path, size_t room) {
  ssize_t length = -1;
  for (const char* link : kLinks) {
    if (length < 0) length = readlink(link, path, room - 1);
  }
  path[length < 0 ? 0 : length] = '\0';
}

}  // namespace CrashHandler::machine
