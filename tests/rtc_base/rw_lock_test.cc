#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/rw_lock_posix.h"
#include "media_core/common/webrtc/rtc_base/rw_lock_wrapper.h"
#include "tests/rtc_base/thread_state.h"

namespace webrtc {
namespace {

// A thread that takes the lock and keeps it until finished.
class Holder {
 public:
  Holder(RWLockWrapper* lock, bool exclusive) : thread_([=] { Run(lock, exclusive); }) {
    started_.Wait(-1);
  }
  ~Holder() { Finish(); }

  bool Holds(int milliseconds) { return holds_.Wait(milliseconds); }
  void AwaitAsleep() const { oru_test::AwaitSleeping(tid_); }
  void Finish() {
    release_.Set();
    if (thread_.joinable()) {
      thread_.join();
    }
  }

 private:
  void Run(RWLockWrapper* lock, bool exclusive) {
    tid_ = rtc::CurrentThreadId();
    started_.Set();
    exclusive ? lock->AcquireLockExclusive() : lock->AcquireLockShared();
    holds_.Set();
    release_.Wait(-1);
    exclusive ? lock->ReleaseLockExclusive() : lock->ReleaseLockShared();
  }

  rtc::Event started_{true, false};
  rtc::Event holds_{true, false};
  rtc::Event release_{true, false};
  rtc::PlatformThreadId tid_ = 0;
  std::thread thread_;
};

TEST(RWLock, CreateRWLockGivesAPosixLock) {
  const std::unique_ptr<RWLockWrapper> lock(RWLockWrapper::CreateRWLock());
  EXPECT_NE(dynamic_cast<RWLockPosix*>(lock.get()), nullptr);
}

TEST(RWLock, ManyReadersHoldItAtOnce) {
  const std::unique_ptr<RWLockWrapper> lock(RWLockWrapper::CreateRWLock());
  Holder first(lock.get(), false);
  Holder second(lock.get(), false);
  EXPECT_TRUE(first.Holds(20000));
  EXPECT_TRUE(second.Holds(20000));
}

TEST(RWLock, AWriterWaitsForTheReaders) {
  const std::unique_ptr<RWLockWrapper> lock(RWLockWrapper::CreateRWLock());
  Holder reader(lock.get(), false);
  EXPECT_TRUE(reader.Holds(20000));
  Holder writer(lock.get(), true);
  writer.AwaitAsleep();
  EXPECT_FALSE(writer.Holds(0));
  reader.Finish();
  EXPECT_TRUE(writer.Holds(20000));
}

TEST(RWLock, AReaderWaitsForTheWriter) {
  const std::unique_ptr<RWLockWrapper> lock(RWLockWrapper::CreateRWLock());
  Holder writer(lock.get(), true);
  EXPECT_TRUE(writer.Holds(20000));
  Holder reader(lock.get(), false);
  reader.AwaitAsleep();
  EXPECT_FALSE(reader.Holds(0));
  writer.Finish();
  EXPECT_TRUE(reader.Holds(20000));
}

TEST(RWLock, KeepsWritersApartFromEachOtherAndFromReaders) {
  const std::unique_ptr<RWLockWrapper> lock(RWLockWrapper::CreateRWLock());
  long first = 0;
  long second = 0;
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5000; ++round) {
        const WriteLockScoped scope(lock.get());
        ++first;
        ++second;
      }
    });
    threads.emplace_back([&] {
      for (int round = 0; round < 5000; ++round) {
        const ReadLockScoped scope(lock.get());
        torn += first == second ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(first, 10000);
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace webrtc
