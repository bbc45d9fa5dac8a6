#include "tests/crash_matrix/frozen_allocator.h"

#include <unistd.h>

#include <cstddef>

namespace crash_test {

std::atomic<bool> allocator_frozen{false};

namespace {

void Await() {
  while (allocator_frozen.load()) pause();
}

}  // namespace
}  // namespace crash_test

extern "C" {

// The C library's own.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void __libc_free(void* memory);

__attribute__((visibility("default"))) void* malloc(size_t size) {
  crash_test::Await();
  return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
  crash_test::Await();
  return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, size_t size) {
  crash_test::Await();
  return __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void free(void* memory) {
  crash_test::Await();
  __libc_free(memory);
}

}  // extern "C"
