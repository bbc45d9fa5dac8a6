// Locks, events, clocks and trace annotations beside their peers: one line an operation and side.
// The names are OPERATION/SIDE/VARIANT.
#include <absl/synchronization/mutex.h>
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "bench/second_thread.h"
#include "media_core/common/webrtc/rtc_base/clock.h"
#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/rw_lock_wrapper.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace {

struct OwnLock {
  rtc::CriticalSection lock;
  void Lock() { lock.Enter(); }
  void Unlock() { lock.Leave(); }
};

struct PthreadRecursive {
  PthreadRecursive() {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attr);
    pthread_mutexattr_destroy(&attr);
  }
  ~PthreadRecursive() { pthread_mutex_destroy(&mutex); }
  void Lock() { pthread_mutex_lock(&mutex); }
  void Unlock() { pthread_mutex_unlock(&mutex); }
  pthread_mutex_t mutex;
};

struct StdMutex {
  std::mutex mutex;
  void Lock() { mutex.lock(); }
  void Unlock() { mutex.unlock(); }
};

struct AbslMutex {
  absl::Mutex mutex;
  void Lock() ABSL_NO_THREAD_SAFETY_ANALYSIS { mutex.Lock(); }
  void Unlock() ABSL_NO_THREAD_SAFETY_ANALYSIS { mutex.Unlock(); }
};

struct OwnWriterLock {
  std::unique_ptr<webrtc::RWLockWrapper> lock{webrtc::RWLockWrapper::CreateRWLock()};
  void Lock() { lock->AcquireLockExclusive(); }
  void Unlock() { lock->ReleaseLockExclusive(); }
};

struct PthreadWriterLock {
  ~PthreadWriterLock() { pthread_rwlock_destroy(&lock); }
  void Lock() { pthread_rwlock_wrlock(&lock); }
  void Unlock() { pthread_rwlock_unlock(&lock); }
  pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
};

struct OwnReaderLock : OwnWriterLock {
  void Lock() { lock->AcquireLockShared(); }
  void Unlock() { lock->ReleaseLockShared(); }
};

struct StdReaderLock {
  void Lock() { lock.lock_shared(); }
  void Unlock() { lock.unlock_shared(); }
  std::shared_mutex lock;
};

struct PthreadReaderLock : PthreadWriterLock {
  void Lock() { pthread_rwlock_rdlock(&lock); }
};

template <class LockType>
void LockFree(benchmark::State& state) {
  const bench::SecondThread second;
  LockType lock;
  for (auto _ : state) {
    lock.Lock();
    benchmark::ClobberMemory();
    lock.Unlock();
  }
}
BENCHMARK(LockFree<OwnLock>)->Name("lock_free/oru");
BENCHMARK(LockFree<PthreadRecursive>)->Name("lock_free/pthread_recursive");
BENCHMARK(LockFree<StdMutex>)->Name("lock_free/std_mutex");
BENCHMARK(LockFree<AbslMutex>)->Name("lock_free/absl_mutex");
BENCHMARK(LockFree<OwnWriterLock>)->Name("writer_lock/oru");
BENCHMARK(LockFree<PthreadWriterLock>)->Name("writer_lock/pthread_rwlock");

template <class LockType>
void LockAgain(benchmark::State& state) {
  const bench::SecondThread second;
  LockType lock;
  lock.Lock();
  for (auto _ : state) {
    lock.Lock();
    benchmark::ClobberMemory();
    lock.Unlock();
  }
  lock.Unlock();
}
BENCHMARK(LockAgain<OwnLock>)->Name("lock_again/oru");
BENCHMARK(LockAgain<PthreadRecursive>)->Name("lock_again/pthread_recursive");

// All threads add to one number under one lock; the time is that of one addition by any of them.
template <class LockType>
void LockContended(benchmark::State& state) {
  static LockType s_lock;
  static long s_sum = 0;
  for (auto _ : state) {
    s_lock.Lock();
    benchmark::DoNotOptimize(++s_sum);
    s_lock.Unlock();
  }
  state.SetItemsProcessed(state.iterations());
}
#define CONTENDED(type, name) \
  BENCHMARK(LockContended<type>)->Name(name)->Threads(2)->Threads(4)->UseRealTime()
CONTENDED(OwnLock, "lock_contended/oru");
CONTENDED(PthreadRecursive, "lock_contended/pthread_recursive");
CONTENDED(StdMutex, "lock_contended/std_mutex");
CONTENDED(AbslMutex, "lock_contended/absl_mutex");

// Two threads that only read; the time is that of one look by any of them.
template <class LockType>
void ReadersShare(benchmark::State& state) {
  static LockType s_lock;
  for (auto _ : state) {
    s_lock.Lock();
    benchmark::ClobberMemory();
    s_lock.Unlock();
  }
  state.SetItemsProcessed(state.iterations());
}
#define READERS(type, name) BENCHMARK(ReadersShare<type>)->Name(name)->Threads(2)->UseRealTime()
READERS(OwnReaderLock, "reader_lock/oru");
READERS(StdReaderLock, "reader_lock/std_shared_mutex");
READERS(PthreadReaderLock, "reader_lock/pthread_rwlock");

struct OwnEvent {
  rtc::Event event{false, false};
  void Set() { event.Set(); }
  void Wait() { event.Wait(rtc::Event::kForever); }
};

struct CondVarEvent {
  std::mutex mutex;
  std::condition_variable cond;
  bool set = false;
  void Set() {
    const std::lock_guard<std::mutex> lock(mutex);
    set = true;
    cond.notify_all();
  }
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex);
    cond.wait(lock, [this] { return set; });
    set = false;
  }
};

// Both threads on one processor: what is measured is the hand-over, not the wake-up of a core.
void StayOnOneProcessor(cpu_set_t* before) {
  pthread_getaffinity_np(pthread_self(), sizeof(*before), before);
  cpu_set_t one;
  CPU_ZERO(&one);
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (CPU_ISSET(cpu, before)) {
      CPU_SET(cpu, &one);
      break;
    }
  }
  pthread_setaffinity_np(pthread_self(), sizeof(one), &one);
}

template <class EventType>
void PingPong(benchmark::State& state) {
  cpu_set_t before;
  StayOnOneProcessor(&before);
  EventType ping;
  EventType pong;
  std::atomic<bool> stop{false};
  std::thread other([&] {  // inherits the processor
    for (;;) {
      ping.Wait();
      pong.Set();
      if (stop.load(std::memory_order_relaxed)) {
        return;
      }
    }
  });
  for (auto _ : state) {
    ping.Set();
    pong.Wait();
  }
  stop = true;
  ping.Set();
  other.join();
  pthread_setaffinity_np(pthread_self(), sizeof(before), &before);
}
BENCHMARK(PingPong<OwnEvent>)->Name("ping_pong/oru")->UseRealTime();
BENCHMARK(PingPong<CondVarEvent>)->Name("ping_pong/condition_variable")->UseRealTime();

#define SIMPLE(function, name, expression)  \
  void function(benchmark::State& s) {      \
    for (auto _ : s) {                      \
      benchmark::DoNotOptimize(expression); \
    }                                       \
  }                                         \
  BENCHMARK(function)->Name(name)

int64_t MonotonicByHand() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_nsec;
}

int64_t WallByHand() {
  timeval now;
  gettimeofday(&now, nullptr);
  return now.tv_usec;
}

thread_local pid_t t_tid = 0;

pid_t CachedByHand() {
  if (t_tid == 0) {
    t_tid = static_cast<pid_t>(syscall(SYS_gettid));
  }
  return t_tid;
}

SIMPLE(ReadSystemTimeNanos, "clock/oru/SystemTimeNanos", rtc::SystemTimeNanos());
SIMPLE(ReadTimeNanos, "clock/oru/TimeNanos", rtc::TimeNanos());
SIMPLE(ReadTimeMicros, "clock/oru/TimeMicros", rtc::TimeMicros());
SIMPLE(ReadTimeMillis, "clock/oru/TimeMillis", rtc::TimeMillis());
SIMPLE(ReadRealTimeClock, "clock/oru/RealTimeClock",
       webrtc::Clock::GetRealTimeClock()->TimeInMilliseconds());
SIMPLE(ReadClockGettime, "clock/clock_gettime", MonotonicByHand());
SIMPLE(ReadTimeUTCMicros, "wall_clock/oru/TimeUTCMicros", rtc::TimeUTCMicros());
SIMPLE(ReadGettimeofday, "wall_clock/gettimeofday", WallByHand());
SIMPLE(ReadThreadId, "thread_id/oru", rtc::CurrentThreadId());
SIMPLE(ReadCachedThreadId, "thread_id/cached_by_hand", CachedByHand());
SIMPLE(ReadGettid, "thread_id/gettid", gettid());

// A tracer that, like the built-in one outside a capture, enables categories and drops events.
std::atomic<int> g_capturing{0};
std::atomic<long> g_captured{0};

const unsigned char* EveryCategory(const char* name) {
  return reinterpret_cast<const unsigned char*>(name);
}

const unsigned char* NoCategory(const char*) { return reinterpret_cast<const unsigned char*>(""); }

void DropEvent(char, const unsigned char*, const char*, unsigned long long, int, const char**,
               const unsigned char*, const unsigned long long*, unsigned char) {
  if (g_capturing.load(std::memory_order_acquire) != 0) {
    ++g_captured;
  }
}

using GetCategory = const unsigned char* (*)(const char*);

template <GetCategory kCategory>
void TraceInstant(benchmark::State& state) {
  webrtc::SetupEventTracer(kCategory, &DropEvent);
  for (auto _ : state) {
    ORU_TRACE_EVENT_INSTANT0("bench", "instant");
    benchmark::ClobberMemory();
  }
  webrtc::SetupEventTracer(nullptr, nullptr);
}

template <GetCategory kCategory>
void TraceScope(benchmark::State& state) {
  webrtc::SetupEventTracer(kCategory, &DropEvent);
  for (auto _ : state) {
    ORU_TRACE_EVENT0("bench", "scope");
    benchmark::ClobberMemory();
  }
  webrtc::SetupEventTracer(nullptr, nullptr);
}

template <GetCategory kCategory>
void TraceScopeTwoArguments(benchmark::State& state) {
  webrtc::SetupEventTracer(kCategory, &DropEvent);
  int i = 0;
  for (auto _ : state) {
    ORU_TRACE_EVENT2("bench", "scope", "i", ++i, "name", "text");
    benchmark::ClobberMemory();
  }
  webrtc::SetupEventTracer(nullptr, nullptr);
}

// The least that code costs which something else may switch on.
void LoadAndBranch(benchmark::State& state) {
  static std::atomic<bool> wanted{false};
  benchmark::DoNotOptimize(&wanted);  // who knows who sets it
  int done = 0;
  for (auto _ : state) {
    if (wanted.load(std::memory_order_relaxed)) {
      benchmark::DoNotOptimize(++done);
    }
    benchmark::ClobberMemory();
  }
}

BENCHMARK(TraceInstant<NoCategory>)->Name("trace_instant/oru/category_disabled");
BENCHMARK(TraceScope<NoCategory>)->Name("trace_scope/oru/category_disabled");
BENCHMARK(TraceScopeTwoArguments<NoCategory>)
    ->Name("trace_scope_2_arguments/oru/category_disabled");
BENCHMARK(TraceInstant<EveryCategory>)->Name("trace_instant/oru/dropping_tracer");
BENCHMARK(TraceScope<EveryCategory>)->Name("trace_scope/oru/dropping_tracer");
BENCHMARK(TraceScopeTwoArguments<EveryCategory>)
    ->Name("trace_scope_2_arguments/oru/dropping_tracer");
BENCHMARK(LoadAndBranch)->Name("switched_off/load_and_branch");

}  // namespace

BENCHMARK_MAIN();
