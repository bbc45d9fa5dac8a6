#include <sys/mman.h>

#include <utility>

#include "media_core/biz_engine/crash_handler/machine/memory.h"

namespace CrashHandler::machine {

ScratchMemory::~ScratchMemory() {
  if (data_ != nullptr) munmap(data_, size_);
}

bool ScratchMemory::Allocate(size_t size) {
  if (data_ != nullptr) munmap(data_, size_);
  data_ = nullptr;
  size_ = 0;
  if (size == 0) return false;
  void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (pages == MAP_FAILED) return false;
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
  if (data_ != nullptr) munmap(data_, size_);
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
