#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "media_core/common/webrtc/rtc_base/process_id.h"

namespace rtc {
namespace {

using PidCell = std::atomic<int32_t>;

// A page that the kernel wipes in every child with memory of its own, however it was made; 0 there
// means that nobody asked yet. Null where the kernel has no such pages (before 4.14).
PidCell* MakeWipedCell() {
  const int saved_errno = errno;
  const size_t size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void* const page =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  PidCell* cell = nullptr;
  if (page != MAP_FAILED) {
    if (madvise(page, size, MADV_WIPEONFORK) == 0) {
      cell = new (page) PidCell(0);
    } else {
      munmap(page, size);
    }
  }
  errno = saved_errno;
  return cell;
}

// Made at start-up: a child forked while another thread makes it would wait for that thread. Null
// before.
PidCell* const g_cell = MakeWipedCell();

}  // namespace

int32_t CurrentProcessId() {
  // The C library asks the kernel every time, which costs as much as writing a log line.
  PidCell* const cell = g_cell;
  if (cell == nullptr) {
    return getpid();
  }
  int32_t pid = cell->load(std::memory_order_relaxed);
  if (pid == 0) {
    pid = getpid();
    cell->store(pid, std::memory_order_relaxed);
  }
  return pid;
}

}  // namespace rtc
