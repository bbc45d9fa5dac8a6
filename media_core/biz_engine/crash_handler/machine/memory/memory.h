// Reads of this process's own memory that cannot fault, and memory that does not come from the
// heap.
//
// Everything here may run in a signal handler, with the allocator's or the loader's lock held by
// anyone.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_MEMORY_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_MEMORY_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// Copies `count` bytes of this process from `source` to `destination` through the kernel, so that a
// bad source gives a code instead of a fault. All or nothing counts as success; on failure the
// destination may be partly written. Returns 0, or the platform's code (a kernel code on macOS, an
// errno value on Linux).
int mach_copyMem(const void* source, void* destination, size_t count);

// Finds out how reads are done in this process. On Linux a filter on system calls (seccomp) may end
// the process for an unusual one, so under a filter only ordinary calls are used. Call it at
// installation and again when a crash begins: the process may have locked itself up in between. The
// first read does it where nobody has. On macOS there is one way.
void ChooseMemoryWay();

// For a crash: until CloseMemory, reads need not open anew each time what they read from. It takes
// a file descriptor on Linux under a filter, and nothing elsewhere. A forked child, which has
// memory of its own, goes without.
void KeepMemoryOpen();
void CloseMemory();

// What a report needs where the kernel gives no memory, however many threads and images there are.
constexpr size_t kScratchReserveBytes = size_t{1536} << 10;

// Sets `memory`, zeroed pages of kScratchReserveBytes, aside for scratch memory, for the life of
// the process. For installation; only the first call counts.
void PrepareScratchReserve(void* memory);

// From now on scratch memory that the kernel does not give comes from what was set aside, until
// that is used up. What is given back last first can be had again, and all of it when nobody has
// any. For a crash.
void OpenScratchReserve();

// The same pages in a larger size, perhaps at another address, or null: nothing is changed then. On
// macOS there is no such thing.
void* ResizePages(void* pages, size_t old_size, size_t new_size);

// Pages straight from the kernel, zeroed; unmapped at the end of the scope.
class ScratchMemory {
 public:
  ScratchMemory() = default;
  explicit ScratchMemory(size_t size) { Allocate(size); }
  ~ScratchMemory();
  ScratchMemory(const ScratchMemory&) = delete;
  ScratchMemory& operator=(const ScratchMemory&) = delete;

  // Replaces what it holds. False (and null data) when the kernel gives none, or for size 0.
  bool Allocate(size_t size);
  // Makes what it holds larger, where it is or at another address; what was in it stays. False (and
  // nothing is changed) when that cannot be done without a copy.
  bool Extend(size_t size);
  // Exchanges what the two hold.
  void Swap(ScratchMemory* other);
  // Takes over pages that Leak gave up.
  void Adopt(void* data, size_t size);
  // Gives the pages up without unmapping them: for memory that late readers may still touch.
  void* Leak();

  void* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_MEMORY_H_
