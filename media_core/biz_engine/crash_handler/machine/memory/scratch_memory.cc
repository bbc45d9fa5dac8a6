#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <utility>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kAlignment = 64;

std::atomic<char*> sReserve{nullptr};
std::atomic<bool> sReserveIsOpen{false};

// The reserve is handed out from the front, in pieces, and zeroed where it is given back, so that
// all of it is like new pages.
struct alignas(uint64_t) ReserveUse {
  uint32_t bytes;
  uint32_t pieces;
};
std::atomic<ReserveUse> sReserveUse{ReserveUse{0, 0}};
static_assert(std::atomic<ReserveUse>::is_always_lock_free, "for signal handlers");

void* MapPages(size_t size) {
  void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  return pages != MAP_FAILED ? pages : nullptr;
}

uint32_t Rounded(size_t size) {
  return static_cast<uint32_t>((size + kAlignment - 1) / kAlignment * kAlignment);
}

bool IsOfReserve(const void* data) {
  const char* const reserve = sReserve.load();
  const auto* const byte = static_cast<const char*>(data);
  return reserve != nullptr && byte >= reserve && byte < reserve + kScratchReserveBytes;
}

void* TakeFromReserve(size_t size) {
  char* const reserve = sReserve.load();
  if (reserve == nullptr || !sReserveIsOpen || size > kScratchReserveBytes) return nullptr;
  ReserveUse use = sReserveUse.load();
  ReserveUse more;
  do {
    more = {use.bytes + Rounded(size), use.pieces + 1};
    if (more.bytes > kScratchReserveBytes) return nullptr;
  } while (!sReserveUse.compare_exchange_weak(use, more));
  return reserve + use.bytes;
}

// Only the last piece can.
bool ExtendInReserve(const void* data, size_t old_size, size_t new_size) {
  const auto start = static_cast<uint32_t>(static_cast<const char*>(data) - sReserve.load());
  if (new_size > kScratchReserveBytes - start) return false;
  ReserveUse use = sReserveUse.load();
  ReserveUse more;
  do {
    if (use.bytes != start + Rounded(old_size)) return false;
    more = {start + Rounded(new_size), use.pieces};
  } while (!sReserveUse.compare_exchange_weak(use, more));
  return true;
}

// The last piece can be had again, and everything once it is the only one.
void GiveBackToReserve(void* data, size_t size) {
  char* const reserve = sReserve.load();
  const auto start = static_cast<uint32_t>(static_cast<char*>(data) - reserve);
  memset(data, 0, size);
  ReserveUse use = sReserveUse.load();
  ReserveUse less;
  do {
    const bool is_last = use.bytes == start + Rounded(size);
    less = {is_last ? start : use.bytes, use.pieces - 1};
    if (less.pieces == 0) less.bytes = 0;
  } while (!sReserveUse.compare_exchange_weak(use, less));
}

void Release(void* data, size_t size) {
  if (data == nullptr) return;
  if (IsOfReserve(data)) return GiveBackToReserve(data, size);
  munmap(data, size);
}

}  // namespace

void PrepareScratchReserve(void* memory) {
  char* none = nullptr;
  sReserve.compare_exchange_strong(none, static_cast<char*>(memory));
}

void OpenScratchReserve() { sReserveIsOpen = true; }

ScratchMemory::~ScratchMemory() { Release(data_, size_); }

bool ScratchMemory::Allocate(size_t size) {
  Release(data_, size_);
  data_ = nullptr;
  size_ = 0;
  if (size == 0) return false;
  void* pages = MapPages(size);
  if (pages == nullptr) pages = TakeFromReserve(size);
  if (pages == nullptr) return false;
  data_ = pages;
  size_ = size;
  return true;
}

bool ScratchMemory::Extend(size_t size) {
  if (data_ == nullptr || size <= size_) return false;
  if (IsOfReserve(data_)) {
    if (!ExtendInReserve(data_, size_, size)) return false;
  } else {
    void* const pages = ResizePages(data_, size_, size);
    if (pages == nullptr) return false;
    data_ = pages;
  }
  size_ = size;
  return true;
}

void ScratchMemory::Swap(ScratchMemory* other) {
  std::swap(data_, other->data_);
  std::swap(size_, other->size_);
}

void* ScratchMemory::Leak() {
  void* pages = data_;
  data_ = nullptr;
  size_ = 0;
  return pages;
}

void ScratchMemory::Adopt(void* data, size_t size) {
  Release(data_, size_);
  data_ = data;
  size_ = size;
}

}  // namespace CrashHandler::machine
