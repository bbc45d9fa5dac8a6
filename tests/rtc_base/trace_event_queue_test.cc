#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace {

using rtc::tracing::TraceBatch;
using rtc::tracing::TraceEvent;
using rtc::tracing::TraceEventQueue;

constexpr size_t kRoom = 1024 * 1024;

void Append(TraceEventQueue* queue, uint64_t number) {
  queue->Append({{"e", nullptr, number, 0, 1, 0, 'I'}, nullptr, nullptr, nullptr});
}

void AppendText(TraceEventQueue* queue, const std::string& text) {
  const char* const name = "text";
  const unsigned char type = webrtc::trace_event_internal::kTypeCopyString;
  const auto value = reinterpret_cast<unsigned long long>(text.c_str());
  queue->Append({{"e", nullptr, 0, 0, 1, 1, 'I'}, &name, &type, &value});
}

std::vector<uint64_t> Numbers(const TraceBatch& batch) {
  std::vector<uint64_t> numbers;
  batch.ForEach([&numbers](const TraceEvent& event) { numbers.push_back(event.timestamp); });
  return numbers;
}

// Appends until an event is dropped; returns how many were not.
uint64_t Fill(TraceEventQueue* queue) {
  constexpr uint64_t kMany = 100000;
  for (uint64_t i = 0; i < kMany; ++i) {
    Append(queue, i);
  }
  const TraceBatch batch = queue->TakeAll();
  const uint64_t kept = Numbers(batch).size();
  EXPECT_EQ(kept + batch.dropped(), kMany);
  queue->Recycle(batch);
  return kept;
}

TEST(TraceEventQueue, GivesEventsBackInOrder) {
  TraceEventQueue queue;
  for (uint64_t i = 0; i < 3; ++i) Append(&queue, i);
  const TraceBatch batch = queue.TakeAll();
  EXPECT_EQ(Numbers(batch), (std::vector<uint64_t>{0, 1, 2}));
  EXPECT_EQ(batch.dropped(), 0u);
  EXPECT_TRUE(queue.TakeAll().empty());
  queue.Recycle(batch);
}

TEST(TraceEventQueue, ABatchIsSplitIntoPiecesInOrder) {
  TraceEventQueue queue;
  for (uint64_t i = 0; i < 5000; ++i) Append(&queue, i);
  TraceBatch batch = queue.TakeAll();
  uint64_t next = 0;
  int pieces = 0;
  while (!batch.empty()) {
    const TraceBatch piece = batch.TakeFirst();
    for (const uint64_t number : Numbers(piece)) EXPECT_EQ(number, next++);
    queue.Recycle(piece);
    ++pieces;
  }
  EXPECT_EQ(next, 5000u);
  EXPECT_GT(pieces, 2);
}

TEST(TraceEventQueue, WithoutRoomEventsAreDroppedAndCounted) {
  TraceEventQueue queue(kRoom);
  const uint64_t kept = Fill(&queue);
  EXPECT_LE(kept * sizeof(TraceEvent), kRoom);
  EXPECT_GE(kept * sizeof(TraceEvent), kRoom * 8 / 10);
  EXPECT_EQ(Fill(&queue), kept) << "the room was not given back";
  const TraceBatch batch = queue.TakeAll();
  EXPECT_EQ(batch.dropped(), 0u) << "counted twice";
}

TEST(TraceEventQueue, WhatIsStillBeingWrittenTakesRoomToo) {
  TraceEventQueue queue(kRoom);
  for (uint64_t i = 0; i < 100000; ++i) Append(&queue, i);
  TraceBatch written = queue.TakeAll();
  Append(&queue, 0);
  TraceBatch batch = queue.TakeAll();
  EXPECT_TRUE(batch.empty());
  EXPECT_EQ(batch.dropped(), 1u);
  queue.Recycle(written.TakeFirst());
  Append(&queue, 0);
  batch = queue.TakeAll();
  EXPECT_EQ(Numbers(batch).size(), 1u);
  queue.Recycle(batch);
  queue.Recycle(written);
}

TEST(TraceEventQueue, AnEventLargerThanTheRoomIsDropped) {
  TraceEventQueue queue(kRoom);
  AppendText(&queue, std::string(kRoom, 'x'));
  AppendText(&queue, std::string(kRoom / 2, 'x'));
  AppendText(&queue, std::string(kRoom / 2, 'x'));
  const TraceBatch batch = queue.TakeAll();
  EXPECT_EQ(Numbers(batch).size(), 1u);
  EXPECT_EQ(batch.dropped(), 2u);
  queue.Recycle(batch);
  EXPECT_GT(Fill(&queue), 0u);
}

TEST(TraceEventQueue, ClearingForgetsTheDroppedOnesToo) {
  TraceEventQueue queue(kRoom);
  for (uint64_t i = 0; i < 100000; ++i) Append(&queue, i);
  queue.Clear();
  const TraceBatch batch = queue.TakeAll();
  EXPECT_TRUE(batch.empty());
  EXPECT_EQ(batch.dropped(), 0u);
}

TEST(TraceEventQueueInThreads, EveryEventIsTakenOrCounted) {
  constexpr uint64_t kEvents = 50000;
  TraceEventQueue queue(kRoom / 4);
  std::atomic<int> running{3};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (uint64_t i = 0; i < kEvents; ++i) Append(&queue, i);
      --running;
    });
  }
  uint64_t seen = 0;
  for (bool last = false; !last;) {
    last = running == 0;
    TraceBatch batch = queue.TakeAll();
    seen += batch.dropped();
    while (!batch.empty()) {
      const TraceBatch piece = batch.TakeFirst();
      seen += Numbers(piece).size();
      queue.Recycle(piece);
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(seen, 3 * kEvents);
}

}  // namespace
