// Failed allocations, and crashes around the allocator's lock.
#include <signal.h>
#include <unistd.h>

#include <new>
#include <thread>

#include "tests/crash_matrix/frozen_allocator.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

SCENARIO(FaultAfterFailedAllocation) {
  FailAnAllocation();
  WriteToNull();
}

SCENARIO(FaultOnAnotherThreadAfterFailedAllocation) {
  FailAnAllocation();
  std::thread(WriteToNull).join();
}

SCENARIO(FailedAllocationAfterSurvivedSignal) {
  raise(SIGPIPE);
  FailAnAllocation();
  _exit(0);
}

SCENARIO(FailedAllocationWithThrowingPredecessor) {
  Handler()->UnInstallCrashHandler();
  std::set_new_handler([] { throw std::bad_alloc(); });
  Handler()->InstallCrashHandler();
  for (int i = 0; i < 2; ++i) FailAnAllocation();
  _exit(0);
}

SCENARIO(FaultHoldingTheAllocator) {
  allocator_frozen = true;
  WriteToNull();
}

SCENARIO(FaultWhileAnotherHoldsTheAllocator) {
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

}  // namespace crash_test
