#include "media_core/biz_engine/crash_handler/machine/memory/memory_linux.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"
#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"

namespace CrashHandler::machine {

namespace {

constexpr uintptr_t kPageSize = 4096;
constexpr uintptr_t kWord = 8;
constexpr int kNotChosen = -1;

std::atomic<int> sWay{kNotChosen};

// What is this process's alone, in a page that the kernel empties in a forked child.
struct ProcessPage {
  std::atomic<int> number;       // 0: not asked for yet
  std::atomic<int> memory_file;  // its descriptor plus one; 0: not kept open
  std::atomic<dev_t> device;     // of the memory file
  std::atomic<ino_t> inode;
};

std::atomic<ProcessPage*> sProcessPage{nullptr};

void MapProcessPage() {
  if (sProcessPage.load() != nullptr) return;
  void* page = mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (page == MAP_FAILED) return;
  ProcessPage* none = nullptr;
  const bool wiped = madvise(page, kPageSize, MADV_WIPEONFORK) == 0;
  if (wiped && sProcessPage.compare_exchange_strong(none, static_cast<ProcessPage*>(page))) return;
  munmap(page, kPageSize);
}

int OwnProcess() {
  ProcessPage* page = sProcessPage.load(std::memory_order_acquire);
  int number = page == nullptr ? 0 : page->number.load(std::memory_order_relaxed);
  if (number != 0) return number;
  number = static_cast<int>(SystemCall(SYS_getpid));
  if (page != nullptr) page->number.store(number, std::memory_order_relaxed);
  return number;
}

// The number of bytes, or the negative error number.
long ReadByCall(const struct iovec* from, const struct iovec* to, size_t count) {
  const long got = SystemCall(SYS_process_vm_readv, OwnProcess(), to, count, from, count, 0L);
  if (got != -ESRCH) return got;
  // The main thread has ended; the others go by their own numbers.
  return SystemCall(SYS_process_vm_readv, SystemCall(SYS_gettid), to, count, from, count, 0L);
}

// With a thread's own link also where the main thread has ended.
int OpenMemoryFile() {
  const int file = OpenFile("/proc/thread-self/mem", O_RDONLY | O_CLOEXEC);
  return file >= 0 ? file : OpenFile("/proc/self/mem", O_RDONLY | O_CLOEXEC);
}

bool LookAt(int file, struct stat* about) {
  return SystemCall(SYS_newfstatat, file, "", about, AT_EMPTY_PATH) == 0;
}

// -1 for none. The host may have closed it, and opened another at its number.
int KeptMemoryFile() {
  const ProcessPage* const page = sProcessPage.load(std::memory_order_acquire);
  const int file = page == nullptr ? -1 : page->memory_file.load() - 1;
  struct stat about;
  if (file < 0 || !LookAt(file, &about)) return -1;
  return about.st_dev == page->device && about.st_ino == page->inode ? file : -1;
}

// All or an error number.
int ReadByFile(const void* source, void* destination, size_t count) {
  const int kept = KeptMemoryFile();
  const int file = kept >= 0 ? kept : OpenMemoryFile();
  if (file < 0) return EACCES;
  const long got = SystemCall(SYS_pread64, file, destination, count, source);
  if (file != kept) SystemCall(SYS_close, file);
  return got >= 0 && static_cast<size_t>(got) == count ? 0 : EFAULT;
}

// The kernel copies a new signal mask from there before it looks at what is to be done with it,
// which is nothing that there is.
bool CanRead(uintptr_t word) {
  constexpr int kNoSuchChange = -1;
  if (word == 0) return false;  // means no mask at all
  return SystemCall(SYS_rt_sigprocmask, kNoSuchChange, reinterpret_cast<void*>(word), 0L, kWord) !=
         -EFAULT;
}

// What checking tools put around a function is not to look at these addresses.
__attribute__((no_sanitize("address", "thread"))) void CopyBytes(const char* from, char* to,
                                                                 size_t count) {
  for (size_t i = 0; i < count; ++i) to[i] = static_cast<const volatile char*>(from)[i];
}

int ReadChecked(const void* source, void* destination, size_t count) {
  const auto start = reinterpret_cast<uintptr_t>(source);
  if (start + count < start) return EFAULT;
  for (uintptr_t at = start; at < start + count; at = at / kPageSize * kPageSize + kPageSize) {
    if (!CanRead(at / kWord * kWord)) return EFAULT;
  }
  CopyBytes(static_cast<const char*>(source), static_cast<char*>(destination), count);
  return 0;
}

int ReadWithoutCall(MemoryWay way, const void* source, void* destination, size_t count) {
  const int code = way == MemoryWay::kChecked ? EACCES : ReadByFile(source, destination, count);
  return code == EACCES ? ReadChecked(source, destination, count) : code;
}

// What a read that the system refuses comes back with, unlike one of a bad address.
bool IsRefusal(long result) { return result < 0 && result != -EFAULT && result != -ENOMEM; }

bool AsksBeforeCalls(const char* status) {
  const char* mode = strstr(status, "\nSeccomp:\t");
  return mode != nullptr && mode[strlen("\nSeccomp:\t")] != '0';
}

MemoryWay FindWay() {
  char status[4096];
  const int file = OpenFile("/proc/thread-self/status", O_RDONLY | O_CLOEXEC);
  if (file < 0) return MemoryWay::kChecked;
  const long size = SystemCall(SYS_read, file, status, sizeof(status) - 1);
  SystemCall(SYS_close, file);
  if (size <= 0) return MemoryWay::kChecked;
  status[size] = '\0';
  return AsksBeforeCalls(status) ? MemoryWay::kFile : MemoryWay::kCall;
}

}  // namespace

void ChooseMemoryWay() {
  MapProcessPage();
  sWay.store(static_cast<int>(FindWay()));
}

void KeepMemoryOpen() {
  ProcessPage* const page = sProcessPage.load(std::memory_order_acquire);
  if (page == nullptr || CurrentMemoryWay() != MemoryWay::kFile || KeptMemoryFile() >= 0) return;
  struct stat about;
  const int file = OpenMemoryFile();
  if (file < 0) return;
  if (!LookAt(file, &about)) {
    SystemCall(SYS_close, file);
    return;
  }
  page->device.store(about.st_dev);
  page->inode.store(about.st_ino);
  page->memory_file.store(file + 1);
}

void CloseMemory() {
  const int kept = KeptMemoryFile();
  if (kept < 0) return;
  sProcessPage.load()->memory_file.store(0);
  SystemCall(SYS_close, kept);
}

MemoryWay CurrentMemoryWay() {
  if (sWay.load() == kNotChosen) ChooseMemoryWay();
  return static_cast<MemoryWay>(sWay.load());
}

int mach_copyMem(const void* source, void* destination, size_t count) {
  if (count == 0) return 0;
  const MemoryWay way = CurrentMemoryWay();
  if (way != MemoryWay::kCall) return ReadWithoutCall(way, source, destination, count);
  const struct iovec to = {destination, count};
  const struct iovec from = {const_cast<void*>(source), count};
  const long got = ReadByCall(&from, &to, 1);
  if (IsRefusal(got)) return ReadWithoutCall(way, source, destination, count);
  if (got < 0) return static_cast<int>(-got);
  return static_cast<size_t>(got) == count ? 0 : EFAULT;
}

bool CopyPieces(const struct iovec* from, const struct iovec* to, size_t count) {
  size_t wanted = 0;
  for (size_t i = 0; i < count; ++i) wanted += to[i].iov_len;
  if (CurrentMemoryWay() == MemoryWay::kCall) {
    const long got = ReadByCall(from, to, count);
    if (!IsRefusal(got)) return got >= 0 && static_cast<size_t>(got) == wanted;
  }
  return std::all_of(to, to + count, [&](const struct iovec& one) {
    return mach_copyMem(from[&one - to].iov_base, one.iov_base, one.iov_len) == 0;
  });
}

void* ResizePages(void* pages, size_t old_size, size_t new_size) {
  void* resized = mremap(pages, old_size, new_size, MREMAP_MAYMOVE);
  return resized != MAP_FAILED ? resized : nullptr;
}

}  // namespace CrashHandler::machine
