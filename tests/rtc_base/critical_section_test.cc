#include "media_core/common/webrtc/rtc_base/critical_section.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/event.h"
#include "tests/rtc_base/thread_state.h"

namespace rtc {
namespace {

// Whether another thread could take the section now (it leaves again at once).
bool OthersGetIn(const CriticalSection& cs) {
  bool entered = false;
  std::thread([&] {
    entered = cs.TryEnter();
    if (entered) {
      cs.Leave();
    }
  }).join();
  return entered;
}

// A thread that enters the section, then stays in it until told to leave.
class Entrant {
 public:
  explicit Entrant(const CriticalSection* cs) : thread_([this, cs] { Run(cs); }) {
    started_.Wait(-1);
  }
  ~Entrant() { Finish(); }

  // Blocks until the thread sleeps, which it does in the section's semaphore only.
  void AwaitAsleep() const { oru_test::AwaitSleeping(tid_); }
  bool Entered(int milliseconds) { return entered_.Wait(milliseconds); }
  void Finish() {
    leave_.Set();
    if (thread_.joinable()) {
      thread_.join();
    }
  }

 private:
  void Run(const CriticalSection* cs) {
    tid_ = CurrentThreadId();
    started_.Set();
    cs->Enter();
    entered_.Set();
    leave_.Wait(-1);
    cs->Leave();
  }

  Event started_{true, false};
  Event entered_{true, false};
  Event leave_{true, false};
  PlatformThreadId tid_ = 0;
  std::thread thread_;
};

TEST(CriticalSection, EnteredThreeTimesMustBeLeftThreeTimesBeforeAnotherThreadGetsIn) {
  const CriticalSection cs;
  cs.Enter();
  cs.Enter();
  cs.Enter();
  EXPECT_FALSE(OthersGetIn(cs));
  cs.Leave();
  EXPECT_FALSE(OthersGetIn(cs));
  cs.Leave();
  EXPECT_FALSE(OthersGetIn(cs));
  cs.Leave();
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(CriticalSection, TryEnterTakesAFreeOneAndIsRecursive) {
  const CriticalSection cs;
  EXPECT_TRUE(cs.TryEnter());
  EXPECT_TRUE(cs.TryEnter());
  cs.Enter();
  cs.Leave();
  cs.Leave();
  EXPECT_FALSE(OthersGetIn(cs));
  cs.Leave();
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(CriticalSection, CanBeTakenAgainAfterItWasLeft) {
  const CriticalSection cs;
  for (int i = 0; i < 3; ++i) {
    cs.Enter();
    cs.Leave();
  }
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(CriticalSection, CurrentThreadIsOwnerIsTrueForEveryThread) {
  const CriticalSection cs;
  EXPECT_TRUE(cs.CurrentThreadIsOwner());
  cs.Enter();
  std::thread([&cs] { EXPECT_TRUE(cs.CurrentThreadIsOwner()); }).join();
  cs.Leave();
}

TEST(CriticalSection, AWaiterFallsAsleepAndGetsTheLockOnLeave) {
  const CriticalSection cs;
  cs.Enter();
  Entrant waiter(&cs);
  waiter.AwaitAsleep();
  EXPECT_FALSE(waiter.Entered(0));
  cs.Leave();
  EXPECT_TRUE(waiter.Entered(20000));
}

TEST(CriticalSection, IsHandedToASleeperWithoutBeingFreeInBetween) {
  const CriticalSection cs;
  cs.Enter();
  Entrant waiter(&cs);
  waiter.AwaitAsleep();
  cs.Leave();
  // The waiter may not have woken yet, but the lock is its own already.
  EXPECT_FALSE(cs.TryEnter());
  EXPECT_TRUE(waiter.Entered(20000));
  waiter.Finish();
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(CriticalSection, AnInnerLeaveWakesNobody) {
  const CriticalSection cs;
  cs.Enter();
  cs.Enter();
  Entrant waiter(&cs);
  waiter.AwaitAsleep();
  cs.Leave();
  EXPECT_FALSE(waiter.Entered(100));
  cs.Leave();
  EXPECT_TRUE(waiter.Entered(20000));
}

TEST(CriticalSection, ASleepersOwnRecursionWorks) {
  const CriticalSection cs;
  Event done(true, false);
  cs.Enter();
  std::thread sleeper([&] {
    cs.Enter();
    cs.Enter();
    cs.Leave();
    cs.Leave();
    done.Set();
  });
  EXPECT_FALSE(done.Wait(50));
  cs.Leave();
  EXPECT_TRUE(done.Wait(20000));
  sleeper.join();
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(CriticalSection, EverySleeperGetsItsTurn) {
  const CriticalSection cs;
  constexpr int kSleepers = 6;
  std::vector<std::unique_ptr<Entrant>> sleepers;
  cs.Enter();
  for (int i = 0; i < kSleepers; ++i) {
    sleepers.push_back(std::make_unique<Entrant>(&cs));
    sleepers.back()->AwaitAsleep();
  }
  cs.Leave();
  // Each stays in until told to leave: exactly one is in at a time.
  for (int turn = 0; turn < kSleepers; ++turn) {
    bool found = false;
    for (int look = 0; look < 20000 && !found; ++look) {
      for (auto it = sleepers.begin(); it != sleepers.end() && !found; ++it) {
        found = (*it)->Entered(1);
        if (found) {
          sleepers.erase(it);
          break;
        }
      }
    }
    ASSERT_TRUE(found) << "turn " << turn;
  }
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(CriticalSection, KeepsThreadsApartUnderContention) {
  const CriticalSection cs;
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  long count = 0;
  int inside = 0;
  bool overlapped = false;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        const CritScope outer(&cs);
        const CritScope inner(&cs);
        overlapped |= ++inside != 1;
        ++count;
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, long{kThreads} * kRounds);
  EXPECT_FALSE(overlapped);
}

TEST(CriticalSection, TryEnterUnderContentionNeverLetsTwoIn) {
  const CriticalSection cs;
  constexpr int kThreads = 3;
  long count = 0;
  std::atomic<long> successes{0};
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        const TryCritScope scope(&cs);
        if (scope.locked()) {
          ++count;
          ++successes;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, successes.load());
  EXPECT_GT(count, 0);
}

TEST(CriticalSection, MayBeDestroyedByTheOneWhoWasHandedIt) {
  for (int i = 0; i < 50; ++i) {
    auto* const cs = new CriticalSection();
    cs->Enter();
    std::thread heir([cs] {
      cs->Enter();
      cs->Leave();
      delete cs;
    });
    if (i % 2 == 0) {
      sched_yield();
    }
    cs->Leave();
    heir.join();
  }
}

TEST(CritScope, HoldsForTheScopeOnly) {
  const CriticalSection cs;
  {
    const CritScope scope(&cs);
    EXPECT_FALSE(OthersGetIn(cs));
  }
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(TryCritScope, HoldsAFreeSectionForTheScope) {
  const CriticalSection cs;
  {
    const TryCritScope scope(&cs);
    EXPECT_TRUE(scope.locked());
    EXPECT_FALSE(OthersGetIn(cs));
  }
  EXPECT_TRUE(OthersGetIn(cs));
}

TEST(TryCritScope, ThatFailedDoesNotLeave) {
  const CriticalSection cs;
  cs.Enter();
  std::thread([&cs] {
    const TryCritScope scope(&cs);
    EXPECT_FALSE(scope.locked());
  }).join();
  EXPECT_FALSE(OthersGetIn(cs));
  cs.Leave();
}

GlobalLockPod g_static_lock;

TEST(GlobalLockPod, AsAStaticIsFreeWithoutConstruction) {
  static_assert(std::is_trivially_default_constructible<GlobalLockPod>::value, "no constructor");
  static_assert(std::is_trivially_destructible<GlobalLockPod>::value, "no destructor");
  static_assert(sizeof(GlobalLockPod) == 4, "one 32-bit word");
  EXPECT_EQ(g_static_lock.lock_word.load(), 0);
  g_static_lock.Lock();
  EXPECT_EQ(g_static_lock.lock_word.load(), 1);
  g_static_lock.Unlock();
  EXPECT_EQ(g_static_lock.lock_word.load(), 0);
}

TEST(GlobalLockPod, UnlockedWhileFreeStaysFree) {
  g_static_lock.Unlock();
  EXPECT_EQ(g_static_lock.lock_word.load(), 0);
}

TEST(GlobalLockPod, KeepsThreadsApart) {
  long count = 0;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&count] {
      for (int i = 0; i < 5000; ++i) {
        const GlobalLockScope scope(&g_static_lock);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, 15000);
}

TEST(GlobalLock, IsFreeWhateverItsMemoryHeld) {
  alignas(GlobalLock) unsigned char memory[sizeof(GlobalLock)];
  memset(memory, 0xff, sizeof(memory));
  auto* const lock = new (memory) GlobalLock();
  {
    const GlobalLockScope scope(lock);
    EXPECT_EQ(lock->lock_word.load(), 1);
  }
  EXPECT_EQ(lock->lock_word.load(), 0);
  lock->~GlobalLock();
}

}  // namespace
}  // namespace rtc
