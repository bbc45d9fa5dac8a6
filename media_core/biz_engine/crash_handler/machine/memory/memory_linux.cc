#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"

namespace CrashHandler::machine {

namespace {

// The way for systems that forbid the call below, as some containers do.
int CopyThroughFile(const void* source, void* destination, size_t count) {
  const int memory = OpenFile("/proc/self/mem", O_RDONLY | O_CLOEXEC);
  if (memory < 0) return errno;
  const auto position = static_cast<off_t>(reinterpret_cast<uintptr_t>(source));
  const ssize_t copied = pread(memory, destination, count, position);
  const int code = copied < 0 ? errno : EFAULT;
  close(memory);
  return copied >= 0 && static_cast<size_t>(copied) == count ? 0 : code;
}

}  // namespace

int mach_copyMem(const void* source, void* destination, size_t count) {
  if (count == 0) return 0;
  const int saved_errno = errno;
  struct iovec local = {destination, count};
  struct iovec remote = {const_cast<void*>(source), count};
  // The bare call: wrappers of checking tools would look at the source themselves.
  const long copied = syscall(SYS_process_vm_readv, getpid(), &local, 1UL, &remote, 1UL, 0UL);
  int code = 0;
  if (copied < 0) {
    code = errno;
    const bool forbidden = code == EPERM || code == ENOSYS;
    if (forbidden) code = CopyThroughFile(source, destination, count);
  } else if (static_cast<size_t>(copied) != count) {
    code = EFAULT;
  }
  errno = saved_errno;
  return code;
}

void* ResizePages(void* pages, size_t old_size, size_t new_size) {
  void* resized = mremap(pages, old_size, new_size, MREMAP_MAYMOVE);
  return resized != MAP_FAILED ? resized : nullptr;
}

}  // namespace CrashHandler::machine
