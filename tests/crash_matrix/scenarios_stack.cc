// Stacks: overflown, smashed, small.
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

// On an alternate stack with nothing readable below it.
void FaultOnASmallAlternateStack() {
  constexpr size_t kGuard = 4096;
  constexpr size_t kSize = size_t{64} << 10;
  void* memory =
      mmap(nullptr, kGuard + kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || mprotect(memory, kGuard, PROT_NONE) != 0) _exit(kScenarioFailed);
  stack_t stack = {};
  stack.ss_sp = static_cast<char*>(memory) + kGuard;
  stack.ss_size = kSize;
  if (sigaltstack(&stack, nullptr) != 0) _exit(kScenarioFailed);
  WriteToNull();
}

}  // namespace

std::vector<Scenario> StackScenarios() {
  return {
      SCENARIO(FaultOnASmallAlternateStack),
  };
}

}  // namespace crash_test
