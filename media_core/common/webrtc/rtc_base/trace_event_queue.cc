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
  TraceEvent* const event = new (to) TraceEvent(input.event);
  event->size = size;
  if (event->num_args == 0) {
    return;
  }
  const char* const end = to + size;
  // What the copies still to come need at least.
  size_t reserved = CopyCount(input) * kTerminators;
  TraceArg* const args = reinterpret_cast<TraceArg*>(event + 1);
  char* copies = reinterpret_cast<char*>(args + event->num_args);
  for (size_t i = 0; i < event->num_args; ++i) {
    new (&args[i]) TraceArg{input.arg_names[i], input.arg_values[i], input.arg_types[i]};
    if (IsCopied(input, i)) {
      args[i].value = reinterpret_cast<uint64_t>(copies);
      reserved -= kTerminators;
      copies = CopyString(copies, static_cast<size_t>(end - copies) - reserved, StringOf(input, i));
    }
  }
}

void FreeChunks(TraceChunk* chunk) {
  while (chunk != nullptr) {
    TraceChunk* const next = chunk->next;
    ::operator delete(chunk);
    chunk = next;
  }
}

}  // namespace

TraceBatch TraceBatch::TakeFirst() {
  TraceChunk* const first = first_;
  first_ = first->next;
  first->next = nullptr;
  return {first, 0};
}

TraceEventQueue::~TraceEventQueue() {
  FreeChunks(first_);
  FreeChunks(spare_);
}

void TraceEventQueue::Append(const TraceEventInput& input) {
  const size_t size = SizeInQueue(input);
  const CritScope lock(&crit_);
  char* const place = Reserve(size);
  if (place == nullptr) {
    ++dropped_;
    return;
  }
  Fill(place, size, input);
}

char* TraceEventQueue::Reserve(size_t size) {
  if ((last_ == nullptr || last_->capacity - last_->used < size) && !AddChunk(size)) {
    return nullptr;
  }
  char* const place = last_->data() + last_->used;
  last_->used += size;
  return place;
}

bool TraceEventQueue::AddChunk(size_t size) {
  const size_t capacity = std::max(size, kChunkSize);
  if (capacity > max_bytes_ - used_bytes_) {
    return false;
  }
  TraceChunk* chunk = spare_;
  if (chunk != nullptr && capacity == kChunkSize) {
    spare_ = chunk->next;
    --num_spare_;
  } else {
    chunk = static_cast<TraceChunk*>(::operator new(sizeof(TraceChunk) + capacity));
    chunk->capacity = capacity;
  }
  used_bytes_ += capacity;
  chunk->next = nullptr;
  chunk->used = 0;
  (last_ == nullptr ? first_ : last_->next) = chunk;
  last_ = chunk;
  return true;
}

TraceBatch TraceEventQueue::TakeAll() {
  const CritScope lock(&crit_);
  const TraceBatch batch(first_, dropped_);
  first_ = last_ = nullptr;
  dropped_ = 0;
  return batch;
}

void TraceEventQueue::Recycle(TraceBatch batch) {
  TraceChunk* surplus = nullptr;
  {
    const CritScope lock(&crit_);
    while (TraceChunk* const chunk = batch.first_) {
      batch.first_ = chunk->next;
      used_bytes_ -= chunk->capacity;
      const bool keep = chunk->capacity == kChunkSize && num_spare_ < kMaxSpareChunks;
      num_spare_ += keep ? 1 : 0;
      TraceChunk*& list = keep ? spare_ : surplus;
      chunk->next = list;
      list = chunk;
    }
  }
  FreeChunks(surplus);
}

void TraceEventQueue::Clear() { Recycle(TakeAll()); }

}  // namespace tracing
}  // namespace rtc
