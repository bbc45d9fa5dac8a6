// Dispatch semaphores, counting as the platform's do: a waiter takes its one off before it sleeps,
// so that a negative value tells how many sleep. What they sleep on is a port of the kernel, made
// when it is first needed, which a forked child does not have.
#include <dispatch/dispatch.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "tests/mach_double/failures.h"

struct dispatch_semaphore_s {
  std::mutex mutex;
  std::condition_variable woken;
  // Below zero: so many wait.
  intptr_t value;
  const intptr_t created_with;
  // Wake-ups that no waiter has taken yet.
  intptr_t wakes = 0;
  // The process that has the port; 0 before there is one.
  pid_t port_owner = 0;

  explicit dispatch_semaphore_s(intptr_t initial) : value(initial), created_with(initial) {}

  void UsePort() {
    if (port_owner == 0) port_owner = getpid();
    if (port_owner != getpid()) {
      fputs("BUG IN CLIENT OF LIBDISPATCH: unexpected port of a semaphore\n", stderr);
      std::abort();
    }
  }
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
  if (--semaphore->value >= 0) return 0;
  semaphore->UsePort();
  const auto ready = [&] { return semaphore->wakes > 0; };
  bool got = true;
  if (timeout == DISPATCH_TIME_FOREVER) {
    semaphore->woken.wait(lock, ready);
  } else if (timeout == DISPATCH_TIME_NOW) {
    got = ready();
  } else {
    got = semaphore->woken.wait_until(lock, PointOf(timeout), ready);
  }
  if (!got) {
    ++semaphore->value;
    return 49;  // what the platform's kernel calls a time-out
  }
  --semaphore->wakes;
  return 0;
}

intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) {
  const std::lock_guard<std::mutex> lock(semaphore->mutex);
  if (++semaphore->value > 0) return 0;
  semaphore->UsePort();
  ++semaphore->wakes;
  semaphore->woken.notify_one();
  return 1;
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
    if (semaphore->value < semaphore->created_with) {
      fputs("BUG IN CLIENT OF LIBDISPATCH: Semaphore object deallocated while in use\n", stderr);
      std::abort();
    }
  }
  delete semaphore;
}

}  // extern "C"
