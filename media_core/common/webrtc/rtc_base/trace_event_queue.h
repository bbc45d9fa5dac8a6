// The trace events that wait to be written. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_QUEUE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_QUEUE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"
#include "media_core/common/webrtc/rtc_base/trace_lane.h"
#include "media_core/common/webrtc/rtc_base/trace_merge.h"

namespace rtc {
namespace tracing {

// An event as AddTraceEvent gets it. The arrays hold `event.num_args` entries.
struct TraceEventInput {
  // Its extras may say that there is a time of its own.
  TraceEvent event;
  const char* const* arg_names;
  const unsigned char* arg_types;
  const unsigned long long* arg_values;
  uint64_t own_time = 0;
};

// Appended to by any thread, read by one. Every thread appends to a lane of its own, without a
// lock: what threads share would travel between processors with every event. When the queue holds
// as much as it may, what is read but not released included, further events are dropped and
// counted.
class TraceEventQueue {
 public:
  // Millions of events: what a program emits while the disk stalls for many seconds.
  static constexpr size_t kMaxBytes = size_t{512} * 1024 * 1024;

  explicit TraceEventQueue(size_t max_bytes = kMaxBytes) : max_bytes_(max_bytes) {}
  // No thread appends any more.
  ~TraceEventQueue();
  TraceEventQueue(const TraceEventQueue&) = delete;
  TraceEventQueue& operator=(const TraceEventQueue&) = delete;

  // Copies the event, its arguments and the strings among them that ask for it; or drops it. In the
  // header, as the caller then builds the event in its place: a copy of what was just stored field
  // by field waits for the stores.
  void Append(const TraceEventInput& input);

  // The reader's: has `merge` give the events that were not read yet. They stay in their place
  // until Release().
  void Read(TraceMerge* merge);
  // What was read is written: its memory may be used again.
  void Release();
  // How many events were dropped since the last call.
  uint64_t TakeDropped();
  // Forgets all events.
  void Clear();

  // For a crashing process: all events that were not released, and how many were dropped.
  uint64_t ReadForCrash(TraceMerge* merge) const;

 private:
  void AppendWithCopies(TraceLane* lane, const TraceEventInput& input);
  // Appends the event of that size which `place` writes to the address that it gets; or drops it.
  template <class Place>
  void Put(TraceLane* lane, size_t size, const Place& place) {
    char* const to = Reserve(lane, size);
    if (to == nullptr) {
      Drop(lane);
      return;
    }
    place(to);
    Commit(lane, size);
  }
  // Null when there is no room.
  char* Reserve(TraceLane* lane, size_t size) {
    const bool fits = lane->last != nullptr && lane->last->capacity - lane->used >= size;
    return fits || AddChunk(lane, size) ? lane->last->data() + lane->used : nullptr;
  }
  static void Commit(TraceLane* lane, size_t size) {
    lane->used += size;
    lane->last->used.store(lane->used, std::memory_order_release);
  }
  static void Drop(TraceLane* lane) { lane->dropped.fetch_add(1, std::memory_order_relaxed); }
  bool AddChunk(TraceLane* lane, size_t size);
  TraceChunk* GetChunk(size_t capacity);
  void Recycle(TraceChunk* first, const TraceChunk* end);
  template <class Visitor>
  void ForEachLane(const Visitor& visit) const;

  const size_t max_bytes_;
  CriticalSection crit_;
  // Guarded by crit_: empty chunks to spare, and the memory of all others.
  TraceChunk* spare_ = nullptr;
  size_t num_spare_ = 0;
  size_t used_bytes_ = 0;
};

// Builds the event, its arguments and its own time; copies left out. Returns where it ends.
inline char* PlaceEvent(char* to, const TraceEventInput& input) {
  auto* const event = new (to) TraceEvent;
  event->name = input.event.name;
  event->category_enabled = input.event.category_enabled;
  event->order = input.event.order;
  event->tid = input.event.tid;
  event->num_args = input.event.num_args;
  event->phase = input.event.phase;
  event->extras = input.event.extras;
  auto* const args = reinterpret_cast<TraceArg*>(event + 1);
  for (size_t i = 0; i < input.event.num_args; ++i) {
    auto* const arg = new (&args[i]) TraceArg;
    arg->name = input.arg_names[i];
    arg->value = input.arg_values[i];
    arg->type = input.arg_types[i];
  }
  auto* const numbers = reinterpret_cast<uint64_t*>(args + input.event.num_args);
  if (__builtin_expect(input.event.extras == 0, 1)) {
    return reinterpret_cast<char*>(numbers);
  }
  return reinterpret_cast<char*>(new (numbers) uint64_t(input.own_time) + 1);
}

// Without copies.
inline size_t SizeOf(const TraceEventInput& input) {
  return sizeof(TraceEvent) + input.event.num_args * sizeof(TraceArg) +
         (input.event.extras != 0 ? sizeof(input.own_time) : 0);
}

inline bool HasCopies(const TraceEventInput& input) {
  for (size_t i = 0; i < input.event.num_args; ++i) {
    if (input.arg_types[i] == webrtc::trace_event_internal::kTypeCopyString) {
      return true;
    }
  }
  return false;
}

inline void TraceEventQueue::Append(const TraceEventInput& input) {
  TraceLane* lane = t_trace_lane;
  if (lane == nullptr || lane->queue.load(std::memory_order_relaxed) != this) {
    lane = TraceLane::Take(this);
  }
  if (lane->busy.load(std::memory_order_relaxed)) {
    Drop(lane);
    return;
  }
  lane->busy.store(true, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  if (HasCopies(input)) {
    AppendWithCopies(lane, input);
  } else {
    Put(lane, SizeOf(input), [&input](char* to) { PlaceEvent(to, input); });
  }
  std::atomic_signal_fence(std::memory_order_seq_cst);
  lane->busy.store(false, std::memory_order_relaxed);
}

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_QUEUE_H_
