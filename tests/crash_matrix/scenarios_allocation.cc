// Failed allocations, and crashes around the allocator's lock.
#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <new>
#include <thread>

#include "tests/crash_matrix/frozen_allocator.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

CHILD_FUNCTION bool FailAnAllocation() {
  volatile size_t too_much = SIZE_MAX / 4;
  try {
    volatile char* memory = new char[too_much];
    memory[0] = 1;
  } catch (const std::bad_alloc&) {
    return true;
  }
  return false;
}

void FaultAfterFailedAllocation() {
  if (!FailAnAllocation()) _exit(kScenarioFailed);
  WriteToNull();
}

void FaultOnAnotherThreadAfterFailedAllocation() {
  if (!FailAnAllocation()) _exit(kScenarioFailed);
  std::thread(WriteToNull).join();
}

void FailedAllocationAfterSurvivedSignal() {
  raise(SIGPIPE);
  if (!FailAnAllocation()) _exit(kScenarioFailed);
  _exit(0);
}

void FailedAllocationWithThrowingPredecessor() {
  Handler()->UnInstallCrashHandler();
  std::set_new_handler([] { throw std::bad_alloc(); });
  Handler()->InstallCrashHandler();
  for (int i = 0; i < 2; ++i) {
    if (!FailAnAllocation()) _exit(kScenarioFailed);
  }
  _exit(0);
}

void FaultHoldingTheAllocator() {
  allocator_frozen = true;
  WriteToNull();
}

void FaultWhileAnotherHoldsTheAllocator() {
  std::thread holder([] {
    allocator_frozen = true;
    SleepForEver();
  });
  while (!allocator_frozen) {
  }
  DivideByZero();
  holder.join();
}

}  // namespace

std::vector<Scenario> AllocationScenarios() {
  return {
      SCENARIO(FaultAfterFailedAllocation),
      SCENARIO(FaultOnAnotherThreadAfterFailedAllocation),
      SCENARIO(FailedAllocationAfterSurvivedSignal),
      SCENARIO(FailedAllocationWithThrowingPredecessor),
      SCENARIO(FaultHoldingTheAllocator),
      SCENARIO(FaultWhileAnotherHoldsTheAllocator),
  };
}

}  // namespace crash_test
