// Failed allocations, and crashes around the allocator's lock.
#include <signal.h>
#include <unistd.h>

#include <new>
#include <thread>

#include "tests/crash_matrix/frozen_allocator.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

void FaultAfterFailedAllocation() {
  FailAnAllocation();
  WriteToNull();
}

void FaultOnAnotherThreadAfterFailedAllocation() {
  FailAnAllocation();
  std::thread(WriteToNull).join();
}

void FailedAllocationAfterSurvivedSignal() {
  raise(SIGPIPE);
  FailAnAllocation();
  _exit(0);
}

void FailedAllocationWithThrowingPredecessor() {
  Handler()->UnInstallCrashHandler();
  std::set_new_handler([] { throw std::bad_alloc(); });
  Handler()->InstallCrashHandler();
  for (int i = 0; i < 2; ++i) FailAnAllocation();
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
