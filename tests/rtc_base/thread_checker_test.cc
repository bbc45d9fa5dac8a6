#include "media_core/common/webrtc/rtc_base/thread_checker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace rtc {
namespace {

bool CalledOnOtherThread(const ThreadCheckerImpl& checker) {
  bool valid = false;
  std::thread([&] { valid = checker.CalledOnValidThread(); }).join();
  return valid;
}

TEST(ThreadChecker, IsBoundToItsConstructorsThread) {
  const ThreadCheckerImpl checker;
  EXPECT_TRUE(checker.CalledOnValidThread());
  EXPECT_FALSE(CalledOnOtherThread(checker));
  EXPECT_TRUE(checker.CalledOnValidThread());
}

TEST(ThreadChecker, DetachedBindsToTheNextCaller) {
  ThreadCheckerImpl checker;
  checker.DetachFromThread();
  std::thread([&checker] {
    EXPECT_TRUE(checker.CalledOnValidThread());
    EXPECT_TRUE(checker.CalledOnValidThread());
  }).join();
  EXPECT_FALSE(checker.CalledOnValidThread());
}

TEST(ThreadChecker, DetachedMayBindToTheSameThreadAgain) {
  ThreadCheckerImpl checker;
  checker.DetachFromThread();
  checker.DetachFromThread();
  EXPECT_TRUE(checker.CalledOnValidThread());
  EXPECT_FALSE(CalledOnOtherThread(checker));
}

TEST(ThreadChecker, DetachedBindsToOneOfManyCallersAtOnce) {
  ThreadCheckerImpl checker;
  checker.DetachFromThread();
  constexpr int kThreads = 6;
  std::atomic<int> valid{0};
  std::atomic<int> done{0};
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      valid += checker.CalledOnValidThread() ? 1 : 0;
      ++done;
      // Alive until all have asked: a thread's handle may be given again after its end.
      while (done < kThreads) {
        std::this_thread::yield();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(valid, 1);
}

}  // namespace
}  // namespace rtc
