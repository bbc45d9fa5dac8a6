#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace {

using rtc::tracing::TraceEvent;
using rtc::tracing::TraceEventQueue;
using rtc::tracing::TraceMerge;

constexpr size_t kRoom = 1024 * 1024;

void Append(TraceEventQueue* queue, uint64_t number) {
  queue->Append({{"e", nullptr, number, 1, 0, 'I'}, nullptr, nullptr, nullptr});
}

void AppendText(TraceEventQueue* queue, const std::string& text) {
  const char* const name = "text";
  const unsigned char type = webrtc::trace_event_internal::kTypeCopyString;
  const auto value = reinterpret_cast<unsigned long long>(text.c_str());
  queue->Append({{"e", nullptr, 0, 1, 1, 'I'}, &name, &type, &value});
}

void OnAnotherThread(const std::function<void()>& run) { std::thread(run).join(); }

// Reads what is there, without releasing it.
std::vector<uint64_t> Read(TraceEventQueue* queue, uint64_t until = TraceMerge::kNoLimit) {
  std::vector<uint64_t> numbers;
  TraceMerge events(until);
  queue->Read(&events);
  while (const TraceEvent* const event = events.Next()) numbers.push_back(event->order);
  return numbers;
}

std::vector<uint64_t> Take(TraceEventQueue* queue) {
  std::vector<uint64_t> numbers = Read(queue);
  queue->Release();
  return numbers;
}

// Appends until an event is dropped; returns how many were not.
uint64_t Fill(TraceEventQueue* queue) {
  constexpr uint64_t kMany = 100000;
  for (uint64_t i = 0; i < kMany; ++i) {
    Append(queue, i);
  }
  const uint64_t kept = Take(queue).size();
  EXPECT_EQ(kept + queue->TakeDropped(), kMany);
  return kept;
}

TEST(TraceEventQueue, GivesEventsBackInOrder) {
  TraceEventQueue queue;
  for (uint64_t i = 0; i < 3; ++i) Append(&queue, i);
  EXPECT_EQ(Take(&queue), (std::vector<uint64_t>{0, 1, 2}));
  EXPECT_EQ(queue.TakeDropped(), 0u);
  EXPECT_TRUE(Take(&queue).empty());
}

TEST(TraceEventQueue, EventsOfManyChunksAreInOrder) {
  TraceEventQueue queue;
  for (uint64_t i = 0; i < 5000; ++i) Append(&queue, i);
  uint64_t next = 0;
  for (const uint64_t number : Take(&queue)) EXPECT_EQ(number, next++);
  EXPECT_EQ(next, 5000u);
}

TEST(TraceEventQueue, EventsOfSeveralThreadsComeByTheTimeOfTheirEmission) {
  TraceEventQueue queue;
  // All threads live until the end, so that each has its own events.
  std::vector<std::thread> threads;
  std::atomic<int> running{7};
  for (uint64_t t = 0; t < 7; ++t) {
    threads.emplace_back([&queue, &running, t] {
      for (uint64_t i = 0; i < 300; ++i) Append(&queue, 7 * i + t);
      --running;
      while (running > 0) std::this_thread::yield();
    });
  }
  for (std::thread& thread : threads) thread.join();
  uint64_t next = 0;
  for (const uint64_t number : Take(&queue)) EXPECT_EQ(number, next++);
  EXPECT_EQ(next, 7u * 300);
}

TEST(TraceEventQueue, OneThreadsEventsKeepTheirOrderWhateverTheirTimes) {
  TraceEventQueue queue;
  for (const uint64_t order : {5u, 3u, 4u}) Append(&queue, order);
  EXPECT_EQ(Take(&queue), (std::vector<uint64_t>{5, 3, 4}));
}

TEST(TraceEventQueue, EventsEmittedAfterTheLimitAreReadLater) {
  TraceEventQueue queue;
  for (uint64_t i = 1; i <= 3; ++i) Append(&queue, i);
  EXPECT_EQ(Read(&queue, 2), (std::vector<uint64_t>{1, 2}));
  EXPECT_EQ(Read(&queue, 2), (std::vector<uint64_t>{}));
  EXPECT_EQ(Read(&queue, 3), (std::vector<uint64_t>{3}));
}

TEST(TraceEventQueue, ACrashFindsWhatWasNotReleased) {
  TraceEventQueue queue;
  for (uint64_t i = 0; i < 5000; ++i) Append(&queue, i);
  EXPECT_EQ(Read(&queue, 2999).size(), 3000u);
  queue.Release();
  EXPECT_EQ(Read(&queue).size(), 2000u);
  TraceMerge events;
  EXPECT_EQ(queue.ReadForCrash(&events), 0u);
  uint64_t next = 3000;
  while (const TraceEvent* const event = events.Next()) EXPECT_EQ(event->order, next++);
  EXPECT_EQ(next, 5000u);
}

TEST(TraceEventQueue, ThreadsThatEndedLeaveTheirEventsAndTheirRoom) {
  TraceEventQueue queue(kRoom / 8);
  for (uint64_t i = 0; i < 500; ++i) OnAnotherThread([&queue, i] { Append(&queue, i); });
  EXPECT_EQ(Take(&queue).size(), 500u);
  EXPECT_EQ(queue.TakeDropped(), 0u) << "each thread took a chunk of its own";
}

TEST(TraceEventQueue, AThreadThatOutlivesAQueueUsesTheNext) {
  for (uint64_t i = 0; i < 3; ++i) {
    TraceEventQueue queue;
    Append(&queue, i);
    TraceEventQueue other;
    Append(&other, 10 + i);
    Append(&queue, 20 + i);
    EXPECT_EQ(Take(&queue).size(), 2u);
    EXPECT_EQ(Take(&other), (std::vector<uint64_t>{10 + i}));
  }
}

TEST(TraceEventQueue, WithoutRoomEventsAreDroppedAndCounted) {
  TraceEventQueue queue(kRoom);
  const uint64_t kept = Fill(&queue);
  EXPECT_LE(kept * sizeof(TraceEvent), kRoom);
  EXPECT_GE(kept * sizeof(TraceEvent), kRoom * 8 / 10);
  // The thread keeps its last chunk.
  EXPECT_GE(Fill(&queue), kept * 8 / 10) << "the room was not given back";
  EXPECT_EQ(queue.TakeDropped(), 0u) << "counted twice";
}

TEST(TraceEventQueue, WhatIsStillBeingWrittenTakesRoomToo) {
  TraceEventQueue queue(kRoom);
  for (uint64_t i = 0; i < 100000; ++i) Append(&queue, i);
  const size_t kept = Read(&queue).size();
  EXPECT_EQ(queue.TakeDropped(), 100000 - kept);
  Append(&queue, 0);
  EXPECT_TRUE(Read(&queue).empty());
  EXPECT_EQ(queue.TakeDropped(), 1u);
  queue.Release();
  Append(&queue, 0);
  EXPECT_EQ(Read(&queue).size(), 1u);
}

TEST(TraceEventQueue, AnEventLargerThanTheRoomIsDropped) {
  TraceEventQueue queue(kRoom);
  AppendText(&queue, std::string(kRoom, 'x'));
  AppendText(&queue, std::string(kRoom / 2, 'x'));
  AppendText(&queue, std::string(kRoom / 2, 'x'));
  EXPECT_EQ(Take(&queue).size(), 1u);
  EXPECT_EQ(queue.TakeDropped(), 2u);
  EXPECT_GT(Fill(&queue), 0u);
}

TEST(TraceEventQueue, ClearingForgetsTheDroppedOnesToo) {
  TraceEventQueue queue(kRoom);
  for (uint64_t i = 0; i < 100000; ++i) Append(&queue, i);
  queue.Clear();
  EXPECT_TRUE(Take(&queue).empty());
  EXPECT_EQ(queue.TakeDropped(), 0u);
}

// As of a signal handler that interrupts the building of another event.
TEST(TraceEventQueue, AnEventInTheMiddleOfAnotherIsCounted) {
  TraceEventQueue queue;
  Append(&queue, 1);
  rtc::tracing::t_trace_lane->busy = true;
  Append(&queue, 2);
  rtc::tracing::t_trace_lane->busy = false;
  Append(&queue, 3);
  EXPECT_EQ(Take(&queue), (std::vector<uint64_t>{1, 3}));
  EXPECT_EQ(queue.TakeDropped(), 1u);
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
    seen += Take(&queue).size() + queue.TakeDropped();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(seen, 3 * kEvents);
}

}  // namespace
