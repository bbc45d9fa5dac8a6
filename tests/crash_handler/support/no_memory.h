// For tests of a process that has no memory left.
#ifndef TESTS_CRASH_HANDLER_SUPPORT_NO_MEMORY_H_
#define TESTS_CRASH_HANDLER_SUPPORT_NO_MEMORY_H_

#include <sys/mman.h>
#include <sys/resource.h>

#include <functional>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "tests/support/child_process.h"

namespace crash_test {

// What is set aside for a crash.
inline void PrepareReserve() {
  using CrashHandler::machine::kScratchReserveBytes;
  CrashHandler::machine::PrepareScratchReserve(
      mmap(nullptr, kScratchReserveBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0));
}

// From now on the kernel gives nothing.
inline void UseUpAddressSpace() {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_AS, &none);
}

// The result of `body`, which runs in such a process.
inline int RunWithoutMemory(const std::function<int()>& body) {
  return oru_test::RunInFork([&body] {
           UseUpAddressSpace();
           return body();
         })
      .exit_code;
}

}  // namespace crash_test

#endif  // TESTS_CRASH_HANDLER_SUPPORT_NO_MEMORY_H_
