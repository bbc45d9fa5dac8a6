// Trace files of processes that end in every way but the proper one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_calendar_time.h"
#include "media_core/common/webrtc/rtc_base/trace_crash_flush.h"
#include "tests/rtc_base/trace_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/has_feature.h"

namespace {

using oru_test::ReadFile;
using oru_test::RunInFork;
using oru_test::TempDir;
using rtc::tracing::FlushTraceOfCrash;

// The sanitizers have a heap of their own, which cannot be replaced.
#if !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)
#define ORU_OWN_HEAP
std::atomic<bool> g_no_heap{false};

void FailAllocations() { g_no_heap = true; }
#endif

constexpr int64_t kSecondNs = 1000000000;

void Begin(const std::string& path) {
  rtc::tracing::SetupInternalTracer();
  if (!rtc::tracing::StartInternalCapture(path.c_str())) _exit(100);
}

void Emit(int count) {
  for (int i = 0; i < count; ++i) {
    ORU_TRACE_EVENT_INSTANT2("test", "event", "number", i, "text", std::string("a \"quoted\" one"));
  }
}

// Opens as it is and holds that many events besides the tracer's own.
void ExpectComplete(const std::string& path, size_t events) {
  const std::string text = ReadFile(path);
  EXPECT_EQ(oru_test::JsonError(path), "");
  const oru_test::TraceText trace = oru_test::ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_TRUE(trace.ended);
  EXPECT_EQ(trace.Lost(), 0u);
  EXPECT_EQ(trace.Others().size(), events);
}

TEST(TraceEndings, WhatIsATenthOfASecondOldIsThereAndTheFileOpens) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const oru_test::ChildResult child = RunInFork([&path] {
    Begin(path);
    Emit(1000);
    // Long enough for a busy machine, too.
    usleep(400000);
    raise(SIGKILL);
    return 0;
  });
  EXPECT_EQ(child.signal, SIGKILL) << child.Ending();
  ExpectComplete(path, 1000);
}

TEST(TraceEndings, TheFileOpensAfterEveryPass) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  RunInFork([&path] {
    Begin(path);
    for (int i = 0; i < 5; ++i) {
      Emit(10);
      usleep(150000);
    }
    raise(SIGKILL);
    return 0;
  });
  ExpectComplete(path, 50);
}

TEST(TraceEndings, ACrashFlushWritesAllOfIt) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const oru_test::ChildResult child = RunInFork([&path] {
    Begin(path);
    Emit(5000);
    return FlushTraceOfCrash(kSecondNs) ? (raise(SIGKILL), 1) : 2;
  });
  EXPECT_EQ(child.signal, SIGKILL) << child.Ending();
  ExpectComplete(path, 5000);
}

TEST(TraceEndings, ACrashFlushGoesOnBehindWhatWasWritten) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  RunInFork([&path] {
    Begin(path);
    Emit(100);
    usleep(300000);
    Emit(100);
    FlushTraceOfCrash(kSecondNs);
    raise(SIGKILL);
    return 0;
  });
  ExpectComplete(path, 200);
}

TEST(TraceEndings, ArgumentsOfEveryKindAreTheSameAsOrdinarilyWritten) {
  const TempDir dir;
  const auto emit = [] {
    static int here = 0;
    ORU_TRACE_EVENT_INSTANT2("test", "a", "bool", true, "unsigned", ~0ull);
    ORU_TRACE_EVENT_INSTANT2("test", "b", "signed", -7, "double", 1.5);
    ORU_TRACE_EVENT_INSTANT2("test", "c", "double", 1e300, "text", "back\\slash");
    ORU_TRACE_EVENT_INSTANT1("test", "d", "pointer", static_cast<const void*>(&here));
  };
  RunInFork([&] {
    Begin(dir.Join("ordinary"));
    emit();
    rtc::tracing::StopInternalCapture();
    return 0;
  });
  RunInFork([&] {
    Begin(dir.Join("crash"));
    emit();
    FlushTraceOfCrash(kSecondNs);
    _exit(0);
    return 0;
  });
  const std::string ordinary = ReadFile(dir.Join("ordinary"));
  const std::string crash = ReadFile(dir.Join("crash"));
  const auto expected = oru_test::ReadTrace(ordinary).Others();
  const auto got = oru_test::ReadTrace(crash).Others();
  ASSERT_EQ(expected.size(), 4u);
  ASSERT_EQ(got.size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(got[i].args, expected[i].args);
  }
}

// In a signal handler, while other threads emit and the crashed one may be in the middle of it.
TEST(TraceEndings, ACrashInTheMiddleOfEmittingLeavesAFileThatOpens) {
  const TempDir dir;
  for (int round = 0; round < 20; ++round) {
    const std::string path = dir.Join("t" + std::to_string(round));
    const oru_test::ChildResult child = RunInFork([&path, round] {
      Begin(path);
      signal(SIGALRM, [](int) { _exit(FlushTraceOfCrash(kSecondNs) ? 5 : 6); });
      for (int t = 0; t < 2; ++t) {
        std::thread([] {
          for (;;) Emit(1);
        }).detach();
      }
      const itimerval soon = {{0, 0}, {0, 1000 + round * 300}};
      setitimer(ITIMER_REAL, &soon, nullptr);
      for (;;) Emit(1);
      return 0;
    });
    EXPECT_EQ(child.exit_code, 5) << child.Ending();
    EXPECT_EQ(oru_test::JsonError(path), "") << round;
    if (HasFailure()) return;
  }
}

#ifdef ORU_OWN_HEAP
TEST(TraceEndings, ACrashFlushNeedsNoHeap) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const oru_test::ChildResult child = RunInFork([&path] {
    Begin(path);
    Emit(2000);
    FailAllocations();
    const bool flushed = FlushTraceOfCrash(kSecondNs);
    _exit(flushed ? 5 : 6);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
  ExpectComplete(path, 2000);
}
#endif

TEST(TraceEndings, WithoutACaptureThereIsNothingToFlush) {
  EXPECT_FALSE(FlushTraceOfCrash(kSecondNs));
  rtc::tracing::SetupInternalTracer();
  EXPECT_FALSE(FlushTraceOfCrash(kSecondNs));
  rtc::tracing::ShutdownInternalTracer();
}

TEST(TraceEndings, AProcessThatLivesOnStopsAndStartsAsUsual) {
  const TempDir dir;
  Begin(dir.Join("first"));
  Emit(10);
  EXPECT_TRUE(FlushTraceOfCrash(kSecondNs));
  EXPECT_FALSE(FlushTraceOfCrash(kSecondNs)) << "once";
  Emit(10);
  rtc::tracing::StopInternalCapture();
  ExpectComplete(dir.Join("first"), 10);
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("second").c_str()));
  Emit(3);
  rtc::tracing::ShutdownInternalTracer();
  ExpectComplete(dir.Join("second"), 3);
}

TEST(TraceEndings, ACrashFlushIsBoundedWhenTheWriterIsStuck) {
  const TempDir dir;
  const std::string path = dir.Join("fifo");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  const oru_test::ChildResult child = RunInFork([&path] {
    Begin(path);
    Emit(20000);
    usleep(300000);  // the pipe is full by now
    Emit(10);
    alarm(20);
    FlushTraceOfCrash(kSecondNs / 20);
    _exit(5);
    return 0;
  });
  close(reader);
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
}

TEST(TraceEndings, TheCalendarTimeOfATraceIsAnEvent) {
  const TempDir dir;
  rtc::tracing::MarkCalendarTime();  // Without a tracer, nothing.
  const int64_t before = rtc::TimeUTCMicros();
  const oru_test::ChildResult child = RunInFork([&dir] {
    Begin(dir.Join("t"));
    rtc::tracing::MarkCalendarTime();
    rtc::tracing::StopInternalCapture();
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  const std::string text = ReadFile(dir.Join("t"));
  const auto events = oru_test::ReadTrace(text).events;
  ASSERT_EQ(events.size(), 3u) << text;
  EXPECT_EQ(events[1].name, "CalendarTime");
  EXPECT_GE(events[1].Number("utc_us"), static_cast<uint64_t>(before));
  EXPECT_LE(events[1].Number("utc_us"), static_cast<uint64_t>(rtc::TimeUTCMicros()));
}

}  // namespace

#ifdef ORU_OWN_HEAP
void* operator new(size_t size) {
  if (g_no_heap) abort();
  void* const memory = malloc(size);
  if (memory == nullptr) abort();
  return memory;
}
void operator delete(void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }
#endif
