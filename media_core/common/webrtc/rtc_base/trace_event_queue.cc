#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {
namespace {

using webrtc::trace_event_internal::kTypeCopyString;

constexpr size_t kChunkSize = 64 * 1024 - sizeof(TraceChunk) - 64;
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

size_t SizeInQueue(const TraceEventInput& input) {
  size_t size = sizeof(TraceEvent) + input.event.num_args * sizeof(TraceArg);
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

void Fill(char* to, size_t size, const TraceEventInput& input) {
  TraceArg* const args = PlaceEvent(to, size, input);
  const char* const end = to + size;
  // What the copies still to come need at least.
  size_t reserved = CopyCount(input) * kTerminators;
  char* copies = reinterpret_cast<char*>(args + input.event.num_args);
  for (size_t i = 0; i < input.event.num_args; ++i) {
    if (IsCopied(input, i)) {
      args[i].value = reinterpret_cast<uint64_t>(copies);
      reserved -= kTerminators;
      copies = CopyString(copies, static_cast<size_t>(end - copies) - reserved, StringOf(input, i));
    }
  }
}

TraceChunk* Next(const TraceChunk* chunk) { return chunk->next.load(std::memory_order_relaxed); }

void Link(TraceChunk* chunk, TraceChunk* next) {
  chunk->next.store(next, std::memory_order_release);
}

void FreeChunks(TraceChunk* chunk) {
  while (chunk != nullptr) {
    TraceChunk* const next = Next(chunk);
    ::operator delete(chunk);
    chunk = next;
  }
}

}  // namespace

TraceBatch TraceBatch::TakeFirst() {
  TraceChunk* const first = first_;
  first_ = Next(first);
  Link(first, nullptr);
  return {first, 0};
}

TraceEventQueue::~TraceEventQueue() {
  FreeChunks(first_);
  FreeChunks(spare_);
}

void TraceEventQueue::AppendWithCopies(const TraceEventInput& input) {
  const size_t size = SizeInQueue(input);
  Put(size, [&](char* to) { Fill(to, size, input); });
}

bool TraceEventQueue::AddChunk(size_t size) {
  const size_t capacity = std::max(size, kChunkSize);
  if (capacity > max_bytes_ - used_bytes_) {
    return false;
  }
  TraceChunk* chunk = spare_;
  if (chunk != nullptr && capacity == kChunkSize) {
    spare_ = Next(chunk);
    --num_spare_;
  } else {
    chunk = new (::operator new(sizeof(TraceChunk) + capacity)) TraceChunk();
    chunk->capacity = capacity;
  }
  used_bytes_ += capacity;
  chunk->used.store(0, std::memory_order_relaxed);
  Link(chunk, nullptr);
  if (last_ == nullptr) {
    first_.store(chunk, std::memory_order_release);
  } else {
    Link(last_, chunk);
  }
  last_ = chunk;
  used_ = 0;
  return true;
}

TraceBatch TraceEventQueue::TakeAll() {
  const CritScope lock(&crit_);
  const TraceBatch batch(first_.exchange(nullptr, std::memory_order_relaxed), dropped_);
  last_ = nullptr;
  dropped_ = 0;
  return batch;
}

void TraceEventQueue::Recycle(TraceBatch batch) {
  TraceChunk* surplus = nullptr;
  {
    const CritScope lock(&crit_);
    while (TraceChunk* const chunk = batch.first_) {
      batch.first_ = Next(chunk);
      used_bytes_ -= chunk->capacity;
      const bool keep = chunk->capacity == kChunkSize && num_spare_ < kMaxSpareChunks;
      num_spare_ += keep ? 1 : 0;
      TraceChunk*& list = keep ? spare_ : surplus;
      Link(chunk, list);
      list = chunk;
    }
  }
  FreeChunks(surplus);
}

TraceBatch TraceEventQueue::LookAtAll(int64_t max_wait_ns) const {
  const bool locked = crit_.TryEnterWithin(max_wait_ns);
  const TraceBatch batch(first_.load(std::memory_order_acquire), dropped_);
  if (locked) {
    crit_.Leave();
  }
  return batch;
}

void TraceEventQueue::Clear() { Recycle(TakeAll()); }

}  // namespace tracing
}  // namespace rtc
