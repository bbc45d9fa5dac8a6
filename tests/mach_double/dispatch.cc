// Dispatch semaphores.
#include <dispatch/dispatch.h>
#include <time.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "tests/mach_double/failures.h"

struct dispatch_semaphore_s {
  std::mutex mutex;
  std::condition_variable changed;
  intptr_t count;
  intptr_t waiters = 0;
  const intptr_t created_with;

  explicit dispatch_semaphore_s(intptr_t value) : count(value), created_with(value) {}
};

namespace {

std::chrono::steady_clock::time_point PointOf(dispatch_time_t time) {
  return std::chrono::steady_clock::time_point(
      std::chrono::nanoseconds(static_cast<int64_t>(time)));
}

}  // namespace

extern "C" {

dispatch_semaphore_t dispatch_semaphore_create(intptr_t value) {
  if (mach_double::FailureOf(mach_double::Call::kSemaphoreCreate) || value < 0) return nullptr;
  return new dispatch_semaphore_s(value);
}

intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout) {
  if (const auto failure = mach_double::FailureOf(mach_double::Call::kSemaphoreWait)) {
    return *failure;
  }
  std::unique_lock<std::mutex> lock(semaphore->mutex);
  const auto ready = [&] { return semaphore->count > 0; };
  ++semaphore->waiters;
  bool got = true;
  if (timeout == DISPATCH_TIME_FOREVER) {
    semaphore->changed.wait(lock, ready);
  } else if (timeout == DISPATCH_TIME_NOW) {
    got = ready();
  } else {
    got = semaphore->changed.wait_until(lock, PointOf(timeout), ready);
  }
  --semaphore->waiters;
  if (!got) return 49;  // what the platform's kernel calls a time-out
  --semaphore->count;
  return 0;
}

intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) {
  const std::lock_guard<std::mutex> lock(semaphore->mutex);
  ++semaphore->count;
  semaphore->changed.notify_one();
  return semaphore->waiters > 0 ? 1 : 0;
}

dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) {
  if (when == DISPATCH_TIME_FOREVER) return when;
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const int64_t base = when == DISPATCH_TIME_NOW
                           ? std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()
                           : static_cast<int64_t>(when);
  return static_cast<dispatch_time_t>(base + delta);
}

void dispatch_release(dispatch_semaphore_t semaphore) {
  {
    const std::lock_guard<std::mutex> lock(semaphore->mutex);
    if (semaphore->count < semaphore->created_with) std::abort();
  }
  delete semaphore;
}

}  // extern "C"
