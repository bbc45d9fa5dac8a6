#include "media_core/common/webrtc/rtc_base/trace_lane.h"

#include <pthread.h>

namespace rtc {
namespace tracing {
namespace {

void GiveBack(void* lane) {
  t_trace_lane = nullptr;
  static_cast<TraceLane*>(lane)->taken.store(false, std::memory_order_release);
}

// Gives a thread's lane back at its end, behind the destructors of its variables, which may emit.
class ThreadEnd {
 public:
  ThreadEnd() : made_(pthread_key_create(&key_, &GiveBack) == 0) {}
  // The library may be unloaded before the thread ends.
  ~ThreadEnd() {
    if (made_.exchange(false)) {
      pthread_key_delete(key_);
    }
  }
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;

  void Watch(TraceLane* lane) const {
    if (made_) {
      pthread_setspecific(key_, lane);
    }
  }

 private:
  pthread_key_t key_{};
  std::atomic<bool> made_;
};

ThreadEnd g_thread_end;

bool IsFor(const TraceLane* lane, const TraceEventQueue* queue) {
  const TraceEventQueue* const owner = lane->queue.load(std::memory_order_acquire);
  return owner == queue || owner == nullptr;
}

TraceLane* TakeUnused(const TraceEventQueue* queue) {
  for (TraceLane* lane = TraceLane::First(); lane != nullptr; lane = lane->next) {
    if (!IsFor(lane, queue) || lane->taken.exchange(true, std::memory_order_acquire)) {
      continue;
    }
    if (IsFor(lane, queue)) {
      return lane;
    }
    lane->taken.store(false, std::memory_order_release);
  }
  return nullptr;
}

TraceLane* AddNew() {
  auto* const lane = new TraceLane();
  lane->next = TraceLane::all.load(std::memory_order_relaxed);
  while (!TraceLane::all.compare_exchange_weak(lane->next, lane, std::memory_order_release,
                                               std::memory_order_relaxed)) {
  }
  return lane;
}

}  // namespace

std::atomic<TraceLane*> TraceLane::all{nullptr};

bool TraceCursor::Find() {
  for (;;) {
    const TraceChunk* const behind = chunk->next.load(std::memory_order_acquire);
    if (offset < chunk->used.load(std::memory_order_acquire)) {
      event = reinterpret_cast<const TraceEvent*>(chunk->data() + offset);
      return true;
    }
    if (behind == nullptr) {
      return false;
    }
    chunk = behind;
    offset = behind->written.load(std::memory_order_relaxed);
  }
}

TraceLane* TraceLane::Take(TraceEventQueue* queue) {
  TraceLane* lane = t_trace_lane;
  if (lane != nullptr && !IsFor(lane, queue)) {
    GiveBack(lane);
    lane = nullptr;
  }
  if (lane == nullptr) {
    lane = TakeUnused(queue);
  }
  if (lane == nullptr) {
    lane = AddNew();
  }
  lane->queue.store(queue, std::memory_order_release);
  t_trace_lane = lane;
  g_thread_end.Watch(lane);
  return lane;
}

}  // namespace tracing
}  // namespace rtc
