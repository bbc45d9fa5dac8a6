#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {
namespace {

using webrtc::trace_event_internal::kTypeCopyString;

// A thread's first chunk, and what its chunks grow to: many threads emit little.
constexpr size_t kFirstChunkSize = 4 * 1024 - sizeof(TraceChunk) - 64;
constexpr size_t kChunkSize = 64 * 1024 - sizeof(TraceChunk) - 64;
constexpr size_t kGrowth = 4;
// What is kept for the next burst: 4 MiB.
constexpr size_t kMaxSpareChunks = 64;
constexpr size_t kAlignment = alignof(TraceEvent);
// A copy is followed by two terminators: writing an argument looks one byte behind its first one.
constexpr size_t kTerminators = 2;

bool IsCopied(const TraceEventInput& input, size_t i) {
  return input.arg_types[i] == kTypeCopyString && input.arg_values[i] != 0;
}

const char* StringOf(const TraceEventInput& input, size_t i) {
  return reinterpret_cast<const char*>(input.arg_values[i]);
}

size_t CopyCount(const TraceEventInput& input) {
  size_t count = 0;
  for (size_t i = 0; i < input.event.num_args; ++i) {
    count += IsCopied(input, i) ? 1 : 0;
  }
  return count;
}

size_t SizeWithCopies(const TraceEventInput& input) {
  size_t size = SizeOf(input) + sizeof(uint64_t);
  for (size_t i = 0; i < input.event.num_args; ++i) {
    if (IsCopied(input, i)) {
      size += strlen(StringOf(input, i)) + kTerminators;
    }
  }
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

// Copies a string to `to`; returns where the next one goes. `room` bounds it, terminators included:
// the string may be longer than it was when it was measured.
char* CopyString(char* to, size_t room, const char* string) {
  const size_t length = strnlen(string, room - kTerminators);
  memcpy(to, string, length);
  memset(to + length, '\0', kTerminators);
  return to + length + kTerminators;
}

void FillWithCopies(char* to, size_t size, const TraceEventInput& input) {
  auto* const event_size = reinterpret_cast<uint64_t*>(PlaceEvent(to, input));
  auto* const event = reinterpret_cast<TraceEvent*>(to);
  event->extras |= TraceEvent::kCopies;
  auto* const args = const_cast<TraceArg*>(event->args());
  const char* const end = to + size;
  // What the copies still to come need at least.
  size_t reserved = CopyCount(input) * kTerminators;
  char* copies = reinterpret_cast<char*>(new (event_size) uint64_t(size) + 1);
  for (size_t i = 0; i < input.event.num_args; ++i) {
    if (IsCopied(input, i)) {
      args[i].value = reinterpret_cast<uint64_t>(copies);
      reserved -= kTerminators;
      copies = CopyString(copies, static_cast<size_t>(end - copies) - reserved, StringOf(input, i));
    }
  }
}

TraceChunk* Next(const TraceChunk* chunk) { return chunk->next.load(std::memory_order_relaxed); }

void FreeChunks(TraceChunk* chunk) {
  while (chunk != nullptr) {
    TraceChunk* const next = Next(chunk);
    ::operator delete(chunk);
    chunk = next;
  }
}

}  // namespace

template <class Visitor>
void TraceEventQueue::ForEachLane(const Visitor& visit) const {
  for (TraceLane* lane = TraceLane::First(); lane != nullptr; lane = lane->next) {
    if (lane->queue.load(std::memory_order_acquire) == this) {
      visit(lane);
    }
  }
}

TraceEventQueue::~TraceEventQueue() {
  ForEachLane([](TraceLane* lane) {
    FreeChunks(lane->first.exchange(nullptr, std::memory_order_relaxed));
    lane->last = nullptr;
    lane->used = 0;
    lane->dropped.store(0, std::memory_order_relaxed);
    lane->reader = TraceCursor();
    lane->queue.store(nullptr, std::memory_order_release);
  });
  FreeChunks(spare_);
}

void TraceEventQueue::AppendWithCopies(TraceLane* lane, const TraceEventInput& input) {
  const size_t size = SizeWithCopies(input);
  Put(lane, size, [&](char* to) { FillWithCopies(to, size, input); });
}

bool TraceEventQueue::AddChunk(TraceLane* lane, size_t size) {
  const size_t usual = lane->last == nullptr ? kFirstChunkSize
                                             : std::clamp(lane->last->capacity * kGrowth,
                                                          kFirstChunkSize, kChunkSize);
  TraceChunk* const chunk = GetChunk(std::max(size, usual));
  if (chunk == nullptr) {
    return false;
  }
  std::atomic<TraceChunk*>& link = lane->last == nullptr ? lane->first : lane->last->next;
  link.store(chunk, std::memory_order_release);
  lane->last = chunk;
  lane->used = 0;
  return true;
}

// Empty; null when the queue holds as much as it may.
TraceChunk* TraceEventQueue::GetChunk(size_t capacity) {
  TraceChunk* chunk = nullptr;
  {
    const CritScope lock(&crit_);
    if (capacity > max_bytes_ - used_bytes_) {
      return nullptr;
    }
    used_bytes_ += capacity;
    if (spare_ != nullptr && capacity == kChunkSize) {
      chunk = spare_;
      spare_ = Next(chunk);
      --num_spare_;
    }
  }
  if (chunk == nullptr) {
    chunk = new (::operator new(sizeof(TraceChunk) + capacity)) TraceChunk();
    chunk->capacity = capacity;
  }
  chunk->used.store(0, std::memory_order_relaxed);
  chunk->written.store(0, std::memory_order_relaxed);
  chunk->next.store(nullptr, std::memory_order_relaxed);
  return chunk;
}

void TraceEventQueue::Read(TraceMerge* merge) {
  ForEachLane([merge](TraceLane* lane) {
    if (lane->reader.chunk == nullptr) {
      lane->reader.chunk = lane->first.load(std::memory_order_acquire);
    }
    if (lane->reader.chunk != nullptr) {
      merge->Add(&lane->reader);
    }
  });
}

uint64_t TraceEventQueue::ReadForCrash(TraceMerge* merge) const {
  uint64_t dropped = 0;
  ForEachLane([&](TraceLane* lane) {
    dropped += lane->dropped.load(std::memory_order_relaxed);
    const TraceChunk* const first = lane->first.load(std::memory_order_acquire);
    if (first != nullptr) {
      lane->crash_reader.chunk = first;
      lane->crash_reader.offset = first->written.load(std::memory_order_relaxed);
      merge->Add(&lane->crash_reader);
    }
  });
  return dropped;
}

void TraceEventQueue::Release() {
  ForEachLane([this](TraceLane* lane) {
    const TraceCursor& reader = lane->reader;
    TraceChunk* const first = lane->first.load(std::memory_order_relaxed);
    if (reader.chunk == nullptr) {
      return;
    }
    auto* const reading = const_cast<TraceChunk*>(reader.chunk);
    reading->written.store(reader.offset, std::memory_order_release);
    if (first != reading) {
      lane->first.store(reading, std::memory_order_release);
      Recycle(first, reading);
    }
  });
}

void TraceEventQueue::Recycle(TraceChunk* first, const TraceChunk* end) {
  TraceChunk* surplus = nullptr;
  {
    const CritScope lock(&crit_);
    while (first != end) {
      TraceChunk* const chunk = first;
      first = Next(chunk);
      used_bytes_ -= chunk->capacity;
      const bool keep = chunk->capacity == kChunkSize && num_spare_ < kMaxSpareChunks;
      num_spare_ += keep ? 1 : 0;
      TraceChunk*& list = keep ? spare_ : surplus;
      chunk->next.store(list, std::memory_order_relaxed);
      list = chunk;
    }
  }
  FreeChunks(surplus);
}

uint64_t TraceEventQueue::TakeDropped() {
  uint64_t dropped = 0;
  ForEachLane([&dropped](TraceLane* lane) {
    dropped += lane->dropped.exchange(0, std::memory_order_relaxed);
  });
  return dropped;
}

void TraceEventQueue::Clear() {
  TraceMerge events;
  Read(&events);
  while (events.Next() != nullptr) {
  }
  Release();
  TakeDropped();
}

}  // namespace tracing
}  // namespace rtc
