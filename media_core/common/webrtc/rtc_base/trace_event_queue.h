// The trace events that wait to be written. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_QUEUE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_QUEUE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {

struct TraceArg {
  const char* name;
  // What the type says: a number, a double's bits, an address. A copied string's address is that of
  // the copy, which stands behind the arguments.
  uint64_t value;
  // One of webrtc::trace_event_internal::ArgType.
  unsigned char type;
};

// One event; its arguments stand behind it in memory.
struct TraceEvent {
  const char* name;
  const unsigned char* category_enabled;
  // Microseconds.
  uint64_t timestamp;
  // All that stands behind the event included.
  size_t size;
  uint32_t tid;
  uint16_t num_args;
  char phase;

  const TraceArg* args() const { return reinterpret_cast<const TraceArg*>(this + 1); }
};

// An event as AddTraceEvent gets it. The arrays hold `event.num_args` entries.
struct TraceEventInput {
  // Its size is not looked at.
  TraceEvent event;
  const char* const* arg_names;
  const unsigned char* arg_types;
  const unsigned long long* arg_values;
};

// A piece of memory filled with events from front to back. Written under the queue's lock; read
// without it where a crash leaves no choice, so an event counts as used when it is complete, and a
// chunk is linked when it is empty.
struct TraceChunk {
  std::atomic<TraceChunk*> next;
  size_t capacity;
  std::atomic<size_t> used;

  char* data() { return reinterpret_cast<char*>(this + 1); }
};

// Events taken out of the queue, in queue order.
class TraceBatch {
 public:
  TraceBatch(TraceChunk* first, uint64_t dropped) : first_(first), dropped_(dropped) {}

  bool empty() const { return first_ == nullptr; }
  // How many events found no room behind these.
  uint64_t dropped() const { return dropped_; }

  // Calls `visit(const TraceEvent&)` for each event.
  template <class Visitor>
  void ForEach(const Visitor& visit) const;

  // Splits off the first events, a small part of them.
  TraceBatch TakeFirst();

  // Where the events are, for a crash that interrupts their writer.
  const TraceChunk* first() const { return first_; }

 private:
  friend class TraceEventQueue;
  TraceChunk* first_;
  uint64_t dropped_;
};

// Appended to by any thread, emptied by one. Events are kept in chunks, so that appending one never
// moves those before it and the whole queue is taken in one step. When it holds as much as it may,
// with the batches that were not given back yet, further events are dropped and counted.
class TraceEventQueue {
 public:
  // Millions of events: what a program emits while the disk stalls for many seconds.
  static constexpr size_t kMaxBytes = size_t{512} * 1024 * 1024;

  explicit TraceEventQueue(size_t max_bytes = kMaxBytes) : max_bytes_(max_bytes) {}
  ~TraceEventQueue();
  TraceEventQueue(const TraceEventQueue&) = delete;
  TraceEventQueue& operator=(const TraceEventQueue&) = delete;

  // Copies the event, its arguments and the strings among them that ask for it; or drops it. In the
  // header, as the caller then builds the event in its place: a copy of what was just stored field
  // by field waits for the stores.
  void Append(const TraceEventInput& input);

  // Takes all events. Give the batch back with Recycle().
  TraceBatch TakeAll();
  // Takes the batch's memory back for later events.
  void Recycle(TraceBatch batch);
  // Forgets all events.
  void Clear();

  // For a crashing process: the events as they are, left in their place. Waits for the lock as long
  // as it is told at most, and does without it then, or when the crashed thread has it.
  TraceBatch LookAtAll(int64_t max_wait_ns) const;

 private:
  void AppendWithCopies(const TraceEventInput& input);
  // Appends the event of that size which `place` writes to the address that it gets; or drops it.
  template <class Place>
  void Put(size_t size, const Place& place) {
    const CritScope lock(&crit_);
    char* const to = Reserve(size);
    if (to == nullptr) {
      ++dropped_;
      return;
    }
    place(to);
    Commit(size);
  }
  // These expect the lock to be held. Null and false when there is no room.
  char* Reserve(size_t size) {
    const bool fits = last_ != nullptr && last_->capacity - used_ >= size;
    return fits || AddChunk(size) ? last_->data() + used_ : nullptr;
  }
  void Commit(size_t size) {
    used_ += size;
    last_->used.store(used_, std::memory_order_release);
  }
  bool AddChunk(size_t size);

  const size_t max_bytes_;
  CriticalSection crit_;
  // Guarded by crit_: the waiting events' chunks in order, and empty ones to spare.
  std::atomic<TraceChunk*> first_{nullptr};
  TraceChunk* last_ = nullptr;
  // Of the last chunk.
  size_t used_ = 0;
  TraceChunk* spare_ = nullptr;
  size_t num_spare_ = 0;
  // Also guarded by it: the memory of the chunks in the queue and in batches, and the events that
  // were dropped since the last batch.
  size_t used_bytes_ = 0;
  uint64_t dropped_ = 0;
};

// Builds the event and its arguments, copied strings left out.
inline TraceArg* PlaceEvent(char* to, size_t size, const TraceEventInput& input) {
  auto* const event = new (to) TraceEvent;
  event->name = input.event.name;
  event->category_enabled = input.event.category_enabled;
  event->timestamp = input.event.timestamp;
  event->size = size;
  event->tid = input.event.tid;
  event->num_args = input.event.num_args;
  event->phase = input.event.phase;
  auto* const args = reinterpret_cast<TraceArg*>(event + 1);
  for (size_t i = 0; i < input.event.num_args; ++i) {
    auto* const arg = new (&args[i]) TraceArg;
    arg->name = input.arg_names[i];
    arg->value = input.arg_values[i];
    arg->type = input.arg_types[i];
  }
  return args;
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
  if (HasCopies(input)) {
    AppendWithCopies(input);
    return;
  }
  const size_t size = sizeof(TraceEvent) + input.event.num_args * sizeof(TraceArg);
  Put(size, [&](char* to) { PlaceEvent(to, size, input); });
}

template <class Visitor>
void TraceBatch::ForEach(const Visitor& visit) const {
  for (TraceChunk* chunk = first_; chunk != nullptr;
       chunk = chunk->next.load(std::memory_order_acquire)) {
    const size_t used = chunk->used.load(std::memory_order_acquire);
    for (size_t offset = 0; offset < used;) {
      const auto& event = *reinterpret_cast<const TraceEvent*>(chunk->data() + offset);
      visit(event);
      offset += event.size;
    }
  }
}

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_QUEUE_H_
