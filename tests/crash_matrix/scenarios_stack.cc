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
#define SDK_SCENARIO(function)                  \
  {                                             \
#function, [] { CallFromTheSdk(function); } \
  }

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

void OverflowInTheSdk() {
  BoundTheMainStack();
  CallFromTheSdk(OverflowTheStack);
}

// The SDK's frames are too far away to be looked at.
void OverflowFarBelowTheSdk() {
  BoundTheMainStack();
  CallFromTheSdk([] { printf("%d\n", RecurseOutsideTheSdk(0)); });
}

void FaultOnASmallAlternateStack() {
  UseGuardedAlternateStack(size_t{64} << 10);
  WriteToNull();
}

// The system's own idea of a size.
void FaultOnAnAlternateStackOf8KiB() {
  UseGuardedAlternateStack(8192);
  WriteToNull();
}

// The kernel's own frame does not fit.
void FaultOnAnUnusableAlternateStack() {
  void* memory = mmap(nullptr, 65536, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  stack_t stack = {};
  stack.ss_sp = memory;
  stack.ss_size = 65536;
  Require(memory != MAP_FAILED && sigaltstack(&stack, nullptr) == 0);
  WriteToNull();
}

}  // namespace

std::vector<Scenario> StackScenarios() {
  return {
      SCENARIO(OverflowInTheSdk),
      SCENARIO(OverflowFarBelowTheSdk),
      SCENARIO(FaultOnASmallAlternateStack),
      SCENARIO(FaultOnAnAlternateStackOf8KiB),
      SCENARIO(FaultOnAnUnusableAlternateStack),
      SDK_SCENARIO(LoseTheStackPointer),
      SDK_SCENARIO(LoseTheFramePointer),
      SDK_SCENARIO(LoseTheFramePointerToData),
      SDK_SCENARIO(SmashTheFramePointer),
      SDK_SCENARIO(SmashTheFramePointerByData),
      SDK_SCENARIO(TieTheFramePointer),
      SDK_SCENARIO(SmashTheReturnAddress),
      SDK_SCENARIO(SmashTheReturnAddressByData),
      SDK_SCENARIO(SmashAllAbove),
      SDK_SCENARIO(SmashAllAboveAndAbort),
      SDK_SCENARIO(OverflowABuffer),
      SDK_SCENARIO(ReturnNowhere),
      SDK_SCENARIO(ReturnToNoAddress),
      SDK_SCENARIO(ReturnToNull),
      SDK_SCENARIO(ReturnIntoData),
      SDK_SCENARIO(ReturnNowhereWithAllAboveSmashed),
      SDK_SCENARIO(FaultWithoutFramePointers),
      SDK_SCENARIO(FaultWithoutUnwindTables),
  };
}

}  // namespace crash_test
