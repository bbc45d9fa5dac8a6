// Stacks: overflown, too small, written over, without frame pointers.
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

#include "tests/crash_matrix/libraries/sdk_stacks.h"
#include "tests/crash_matrix/scenario.h"

// Below a function of the SDK that needs its frame pointer to find its caller.
#define REGISTER_SDK_SCENARIO(function) \
  const Scenario kScenario##function(#function, [] { CallFromTheSdk(function); })

namespace crash_test {
namespace {

// The main thread's stack grows up to the limit, which may be none at all.
void BoundTheMainStack() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_STACK, &limit) != 0) _exit(kScenarioFailed);
  limit.rlim_cur = rlim_t{8} << 20;
  if (setrlimit(RLIMIT_STACK, &limit) != 0) _exit(kScenarioFailed);
}

CHILD_FUNCTION int RecurseOutsideTheSdk(int depth) {
  volatile char frame[1024];
  frame[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : RecurseOutsideTheSdk(depth + 1) + frame[0];
}

SCENARIO(OverflowInTheSdk) {
  BoundTheMainStack();
  CallFromTheSdk(OverflowTheStack);
}

// The SDK's frames are too far away to be looked at.
SCENARIO(OverflowFarBelowTheSdk) {
  BoundTheMainStack();
  CallFromTheSdk([] { printf("%d\n", RecurseOutsideTheSdk(0)); });
}

SCENARIO(FaultOnASmallAlternateStack) {
  UseGuardedAlternateStack(size_t{64} << 10);
  WriteToNull();
}

// The system's own idea of a size.
SCENARIO(FaultOnAnAlternateStackOf8KiB) {
  UseGuardedAlternateStack(8192);
  WriteToNull();
}

// The kernel's own frame does not fit.
SCENARIO(FaultOnAnUnusableAlternateStack) {
  void* memory = mmap(nullptr, 65536, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  stack_t stack = {};
  stack.ss_sp = memory;
  stack.ss_size = 65536;
  Require(memory != MAP_FAILED && sigaltstack(&stack, nullptr) == 0);
  WriteToNull();
}

}  // namespace

REGISTER_SDK_SCENARIO(LoseTheStackPointer);
REGISTER_SDK_SCENARIO(LoseTheFramePointer);
REGISTER_SDK_SCENARIO(LoseTheFramePointerToData);
REGISTER_SDK_SCENARIO(SmashTheFramePointer);
REGISTER_SDK_SCENARIO(SmashTheFramePointerByData);
REGISTER_SDK_SCENARIO(TieTheFramePointer);
REGISTER_SDK_SCENARIO(SmashTheReturnAddress);
REGISTER_SDK_SCENARIO(SmashTheReturnAddressByData);
REGISTER_SDK_SCENARIO(SmashAllAbove);
REGISTER_SDK_SCENARIO(SmashAllAboveAndAbort);
REGISTER_SDK_SCENARIO(OverflowABuffer);
REGISTER_SDK_SCENARIO(ReturnNowhere);
REGISTER_SDK_SCENARIO(ReturnToNoAddress);
REGISTER_SDK_SCENARIO(ReturnToNull);
REGISTER_SDK_SCENARIO(ReturnIntoData);
REGISTER_SDK_SCENARIO(ReturnNowhereWithAllAboveSmashed);
REGISTER_SDK_SCENARIO(FaultWithoutFramePointers);
REGISTER_SDK_SCENARIO(FaultWithoutUnwindTables);

}  // namespace crash_test
