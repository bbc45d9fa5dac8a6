#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

#include "media_core/biz_engine/crash_handler/machine/memory.h"

namespace CrashHandler::machine {

int CopyMemory(const void* source, void* destination, size_t count) {
  if (count == 0) return 0;
  const int saved_errno = errno;
  struct iovec local = {destination, count};
  struct iovec remote = {const_cast<void*>(source), count};
  // The bare call: wrappers of checking tools would look at the source themselves.
  const long copied = syscall(SYS_process_vm_readv, getpid(), &local, 1UL, &remote, 1UL, 0UL);
  int code = 0;
  if (copied < 0) {
    code = errno;
  } else if (static_cast<size_t>(copied) != count) {
    code = EFAULT;
  }
  errno = saved_errno;
  return code;
}

}  // namespace CrashHandler::machine
