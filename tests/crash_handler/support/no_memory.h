// For tests of a process that has no memory left.
#ifndef TESTS_CRASH_HANDLER_SUPPORT_NO_MEMORY_H_
#define TESTS_CRASH_HANDLER_SUPPORT_NO_MEMORY_H_

#include <sys/resource.h>

#include <functional>

#include "tests/support/child_process.h"

namespace crash_test {

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
