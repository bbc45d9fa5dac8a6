#include "media_core/biz_engine/crash_handler/dying/crash_reserve.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"

namespace CrashHandler {
namespace {

constexpr size_t kGuardBytes = size_t{16} << 10;  // a page of any of the systems
// The host's functions run on it: as much as a system's smaller threads have.
constexpr size_t kCrashStackBytes = size_t{512} << 10;
constexpr size_t kFaultStackBytes = size_t{128} << 10;
constexpr size_t kRefusalStackBytes = size_t{64} << 10;
constexpr size_t kReleasedBytes = size_t{8} << 20;

// What stays, with guard pages between. Part of the library itself, so that a process that has no
// address space left at installation has it, too; untouched it takes no memory.
constexpr size_t kKeptBytes = 5 * kGuardBytes + kCrashStackBytes + kFaultStackBytes +
                              kRefusalStackBytes + machine::kHelperThreadBytes +
                              machine::kScratchReserveBytes;
// A linker may align to less than a guard: one more, to begin at its edge.
char sKept[kKeptBytes + kGuardBytes];

CrashStacks sStacks;
char* sHelperMemory = nullptr;
std::atomic<char*> sReleased{nullptr};

// An open null device, above the numbers of the standard streams; -1 when there is none.
constexpr int kLowestDescriptor = 3;
std::atomic<int> sDescriptor{-1};
dev_t sNullDevice;

char* Map(size_t size) {
  void* const pages =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON | MAP_NORESERVE, -1, 0);
  return pages != MAP_FAILED ? static_cast<char*>(pages) : nullptr;
}

// The next piece, behind a guard, which who scans the library's memory may read.
char* TakePiece(char** next, size_t size) {
  mprotect(*next, kGuardBytes, PROT_READ);
  char* const piece = *next + kGuardBytes;
  *next = piece + size;
  return piece;
}

void PlaceKept() {
  const auto start = reinterpret_cast<uintptr_t>(sKept);
  char* memory = sKept + (kGuardBytes - start % kGuardBytes) % kGuardBytes;
  sStacks.crash = {TakePiece(&memory, kCrashStackBytes), kCrashStackBytes};
  sStacks.faults = {TakePiece(&memory, kFaultStackBytes), kFaultStackBytes};
  sStacks.refusal = {TakePiece(&memory, kRefusalStackBytes), kRefusalStackBytes};
  sHelperMemory = TakePiece(&memory, machine::kHelperThreadBytes);
  machine::PrepareScratchReserve(TakePiece(&memory, machine::kScratchReserveBytes));
}

// False where nothing is there to be given back.
bool ReserveMemory() {
  if (sStacks.crash.bottom == nullptr) PlaceKept();
  if (sReleased.load() == nullptr) sReleased.store(Map(kReleasedBytes));
  return sReleased.load() != nullptr;
}

bool ReserveDescriptor() {
  if (sDescriptor.load() >= 0) return true;
  const int opened = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (opened < 0) return false;
  struct stat status;
  const int reserved = fcntl(opened, F_DUPFD_CLOEXEC, kLowestDescriptor);
  close(opened);
  if (reserved < 0 || fstat(reserved, &status) != 0) return false;
  sNullDevice = status.st_rdev;
  sDescriptor.store(reserved);
  return true;
}

void ReleaseDescriptor() {
  const int reserved = sDescriptor.exchange(-1);
  struct stat status;
  if (reserved < 0 || fstat(reserved, &status) != 0) return;
  // A host that closed all descriptors may have another file under the number.
  if (S_ISCHR(status.st_mode) && status.st_rdev == sNullDevice) close(reserved);
}

}  // namespace

MissingReserve PrepareCrashReserve() {
  MissingReserve missing;
  missing.memory = !ReserveMemory();
  missing.descriptor = !ReserveDescriptor();
  // A forked child has the memory, but no thread that was made in its parent.
  machine::PrepareHelperThread(sHelperMemory);
  return missing;
}

const CrashStacks& ReservedStacks() { return sStacks; }

void OpenCrashReserve() {
  ReleaseDescriptor();
  machine::OpenScratchReserve();
  char* const released = sReleased.exchange(nullptr);
  if (released != nullptr) munmap(released, kReleasedBytes);
}

}  // namespace CrashHandler
