#include <sys/mman.h>

#include <atomic>
#include <utility>

#include "media_core/biz_engine/crash_handler/machine/memory.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kReserveBytes = size_t{6} << 20;
constexpr size_t kAlignment = 64;

// The reserve is handed out from the front and never taken back, so that it is zeroed like pages.
std::atomic<char*> sReserve{nullptr};
std::atomic<bool> sReserveIsOpen{false};
std::atomic<size_t> sReserveUsed{0};

void* MapPages(size_t size) {
  void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  return pages != MAP_FAILED ? pages : nullptr;
}

void* TakeFromReserve(size_t size) {
  char* const reserve = sReserve.load();
  if (reserve == nullptr || !sReserveIsOpen || size > kReserveBytes) return nullptr;
  const size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
  size_t used = sReserveUsed.load();
  do {
    if (used + rounded > kReserveBytes) return nullptr;
  } while (!sReserveUsed.compare_exchange_weak(used, used + rounded));
  return reserve + used;
}

void Release(void* data, size_t size) {
  if (data == nullptr) return;
  const char* const reserve = sReserve.load();
  const auto* const byte = static_cast<const char*>(data);
  if (reserve != nullptr && byte >= reserve && byte < reserve + kReserveBytes) return;
  munmap(data, size);
}

}  // namespace

void PrepareScratchReserve() {
  if (sReserve.load() == nullptr) sReserve.store(static_cast<char*>(MapPages(kReserveBytes)));
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

bool SpareMemory::Take(ScratchMemory* memory) {
  void* pages = spare_.exchange(nullptr);
  if (pages == nullptr) return memory->Allocate(size_);
  memory->Adopt(pages, size_);
  return true;
}

void SpareMemory::GiveBack(ScratchMemory* memory) {
  void* none = nullptr;
  if (memory->data() != nullptr && spare_.compare_exchange_strong(none, memory->data())) {
    memory->Leak();
  }
}

}  // namespace CrashHandler::machine
