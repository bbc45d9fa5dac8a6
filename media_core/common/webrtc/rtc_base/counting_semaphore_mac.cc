#include <dispatch/dispatch.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/counting_semaphore.h"

namespace rtc {
namespace {

// A semaphore that a thread has slept on holds a kernel port, which a forked child does not have;
// to use it there ends the process, and so does releasing it while threads wait in the parent's
// copy. So a child gives up the semaphores of its parents and makes new ones when it needs them.
struct Made {
  dispatch_semaphore_t semaphore;
  // The process that made it, counted in forks.
  uint32_t generation;
  // The parent's one that it took the place of: never used, and not lost to a search for leaks.
  const Made* given_up;
};

std::atomic<uint32_t> g_generation{0};

void CountFork() { g_generation.fetch_add(1, std::memory_order_relaxed); }

// At start-up: a child forked while another thread registers would wait for that thread.
[[maybe_unused]] const int kForksHandled = pthread_atfork(nullptr, nullptr, &CountFork);

const Made* Make(const Made* given_up) {
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
  ORU_CHECK(semaphore != nullptr);
  return new Made{semaphore, g_generation.load(std::memory_order_relaxed), given_up};
}

void Release(const Made* made) {
  dispatch_release(made->semaphore);
  delete made;
}

bool IsOurs(const Made* made) {
  return made->generation == g_generation.load(std::memory_order_relaxed);
}

using Handle = std::atomic<const Made*>;

Handle* HandleOf(void* handle) { return static_cast<Handle*>(handle); }

dispatch_semaphore_t Get(void* handle) {
  const Made* made = HandleOf(handle)->load(std::memory_order_acquire);
  if (!IsOurs(made)) {
    const Made* const fresh = Make(made);
    if (HandleOf(handle)->compare_exchange_strong(made, fresh, std::memory_order_acq_rel)) {
      made = fresh;
    } else {
      Release(fresh);
    }
  }
  return made->semaphore;
}

}  // namespace

CountingSemaphore::CountingSemaphore() : handle_(new Handle(Make(nullptr))) {}

CountingSemaphore::~CountingSemaphore() {
  const Made* const made = HandleOf(handle_)->load(std::memory_order_acquire);
  if (IsOurs(made)) {
    Release(made);
  }
  delete HandleOf(handle_);
}

void CountingSemaphore::Wait() { dispatch_semaphore_wait(Get(handle_), DISPATCH_TIME_FOREVER); }

void CountingSemaphore::Signal() { dispatch_semaphore_signal(Get(handle_)); }

void CountingSemaphore::RenewInForkedChild() {
  Handle* const handle = HandleOf(handle_);
  handle->store(Make(handle->load(std::memory_order_relaxed)), std::memory_order_release);
}

}  // namespace rtc
