// The trace events of one thread that wait to be written. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_LANE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_LANE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace tracing {

class TraceEventQueue;

struct TraceArg {
  const char* name;
  // What the type says: a number, a double's bits, an address. A copied string's address is that of
  // the copy, which stands behind the arguments.
  uint64_t value;
  // One of webrtc::trace_event_internal::ArgType.
  unsigned char type;
};

// One event, small as memory that is used for the first time costs more than all else. Behind it
// stand its arguments, and behind those what its extras tell of.
struct TraceEvent {
  enum Extras : uint8_t {
    // A number: microseconds of the clock that was installed for tests.
    kOwnTime = 1,
    // A number, the size of all from the event on; then the copied strings.
    kCopies = 2,
  };

  const char* name;
  const unsigned char* category_enabled;
  // Nanoseconds of the system's clock, whichever clock is installed: the events of several threads
  // are put in order by it. One thread's are in the order in which it emitted them.
  uint64_t order;
  uint32_t tid;
  uint16_t num_args;
  char phase;
  uint8_t extras = 0;

  const TraceArg* args() const { return reinterpret_cast<const TraceArg*>(this + 1); }
  // Microseconds.
  uint64_t timestamp() const {
    return (extras & kOwnTime) == 0 ? order / kNumNanosecsPerMicrosec : *Numbers();
  }
  // All that stands behind the event included.
  size_t size() const {
    if (extras == 0) {
      return sizeof(TraceEvent) + num_args * sizeof(TraceArg);
    }
    const uint64_t* const behind = Numbers() + ((extras & kOwnTime) != 0 ? 1 : 0);
    return (extras & kCopies) != 0 ? *behind
                                   : static_cast<size_t>(reinterpret_cast<const char*>(behind) -
                                                         reinterpret_cast<const char*>(this));
  }

 private:
  const uint64_t* Numbers() const { return reinterpret_cast<const uint64_t*>(args() + num_args); }
};

// A piece of memory filled with events from front to back by one thread, and read in the same order
// by another at the same time: an event counts as used when it is complete, and a chunk that has a
// next one is complete.
struct TraceChunk {
  std::atomic<TraceChunk*> next;
  size_t capacity;
  std::atomic<size_t> used;
  // So much of it the reader needs no more.
  std::atomic<size_t> written;

  char* data() { return reinterpret_cast<char*>(this + 1); }
  const char* data() const { return reinterpret_cast<const char*>(this + 1); }
};

// Where a reader is, and its place among others in a TraceMerge.
struct TraceCursor {
  const TraceChunk* chunk = nullptr;
  size_t offset = 0;
  // The event there; what Find() leaves.
  const TraceEvent* event = nullptr;
  TraceCursor* child = nullptr;
  TraceCursor* sibling = nullptr;

  // Whether there is an event, in this chunk or behind it.
  bool Find();
};

// The chunks of one thread at a time. One reader.
//
// Lanes are never freed, so that a thread may hold on to its own: when it ends, the next one takes
// the lane over, with what is still in it. A lane belongs to a queue as long as that lives.
struct TraceLane {
  // The calling thread's, for that queue.
  static TraceLane* Take(TraceEventQueue* queue);
  // All of them; `next` leads on.
  static TraceLane* First() { return all.load(std::memory_order_acquire); }

  std::atomic<TraceEventQueue*> queue{nullptr};
  std::atomic<bool> taken{true};
  TraceLane* next = nullptr;

  // What the emitter and the reader write with every event stands apart: a line of the cache that
  // both write to would travel between their processors.
  static constexpr size_t kApart = 128;

  // The emitter's: the last chunk, how much of it is used, whether an event is being built (one
  // that a signal handler emits meanwhile has no place), and how many were dropped.
  TraceChunk* last = nullptr;
  size_t used = 0;
  std::atomic<bool> busy{false};
  std::atomic<uint64_t> dropped{0};
  char emitters_end[kApart];

  // The reader's, and one for a crash that interrupts it. What stands before `first` is not
  // looked at any more.
  std::atomic<TraceChunk*> first{nullptr};
  TraceCursor reader;
  TraceCursor crash_reader;
  char readers_end[kApart];

  static std::atomic<TraceLane*> all;
};

// The calling thread's lane, once it has one.
inline thread_local TraceLane* t_trace_lane = nullptr;

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_LANE_H_
