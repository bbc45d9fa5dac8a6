#include "media_core/common/webrtc/rtc_base/forked_child_hook.h"

#include <pthread.h>

namespace rtc {

std::atomic<ForkedChildHook::Place*> ForkedChildHook::first_{nullptr};

// At start-up: a child forked while another thread registers would wait for that thread.
const int ForkedChildHook::registered_ = pthread_atfork(nullptr, nullptr, &RunAll);

ForkedChildHook::ForkedChildHook(Run run, void* object)
    : run_(run), object_(object), place_(TakePlace(this)) {}

ForkedChildHook::~ForkedChildHook() { place_->hook.store(nullptr, std::memory_order_release); }

ForkedChildHook::Place* ForkedChildHook::TakePlace(const ForkedChildHook* hook) {
  for (Place* place = first_.load(std::memory_order_acquire); place != nullptr;
       place = place->next) {
    const ForkedChildHook* free = nullptr;
    if (place->hook.compare_exchange_strong(free, hook)) {
      return place;
    }
  }
  auto* const made = new Place{{hook}, first_.load(std::memory_order_relaxed)};
  while (!first_.compare_exchange_weak(made->next, made, std::memory_order_release,
                                       std::memory_order_relaxed)) {
  }
  return made;
}

void ForkedChildHook::RunAll() {
  for (Place* place = first_.load(std::memory_order_acquire); place != nullptr;
       place = place->next) {
    const ForkedChildHook* const hook = place->hook.load(std::memory_order_acquire);
    if (hook != nullptr) {
      hook->run_(hook->object_);
    }
  }
}

}  // namespace rtc
