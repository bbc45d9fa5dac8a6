#import "media_core/biz_engine/crash_handler/darwin/oru_rtc_call_stack.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "tests/support/platform.h"

using CrashHandler::machine::CurrentThreadNumber;
using CrashHandler::machine::ThreadNumber;

// A thread that waits until it is told to end.
@interface CallStackTestWorker : NSObject {
 @public
  std::atomic<uint32_t> number;
  std::atomic<bool> stop;
}
- (void)waitInWorker:(id)unused;
@end

@implementation CallStackTestWorker
- (void)waitInWorker:(id)unused {
  number = CurrentThreadNumber();
  while (!stop) usleep(1000);
}
@end

namespace {

std::string Text(NSString *string) { return [string UTF8String]; }

std::string HeaderStart(ThreadNumber number) { return "Thread " + std::to_string(number) + " "; }

class RunningWorker {
 public:
  explicit RunningWorker(NSString *name) : worker_([CallStackTestWorker new]) {
    thread_ = [[NSThread alloc] initWithTarget:worker_
                                      selector:@selector(waitInWorker:)
                                        object:nil];
    [thread_ setName:name];
    [thread_ start];
    while (worker_->number == 0) usleep(1000);
  }
  ~RunningWorker() {
    Stop();
    [thread_ release];
    [worker_ release];
  }
  RunningWorker(const RunningWorker &) = delete;
  RunningWorker &operator=(const RunningWorker &) = delete;

  void Stop() {
    worker_->stop = true;
    while (![thread_ isFinished]) usleep(1000);
  }
  NSThread *thread() const { return thread_; }
  ThreadNumber number() const { return worker_->number; }

 private:
  CallStackTestWorker *worker_;
  NSThread *thread_;
};

TEST(OruRTCCallStackTest, ARunningThreadIsFoundAndKeepsItsName) {
  @autoreleasepool {
    const RunningWorker other(@"other");
    const RunningWorker worker(@"worker");
    const std::string text = Text([OruRTCCallStack backtraceOfNSThread:worker.thread()]);
    EXPECT_EQ(text.find(HeaderStart(worker.number())), 0U) << text;
    EXPECT_NE(text.find("waitInWorker"), std::string::npos) << text;
    EXPECT_EQ(Text([worker.thread() name]), "worker");
  }
}

TEST(OruRTCCallStackTest, AThreadWhoseNameLooksLikeANumberIsFound) {
  @autoreleasepool {
    const RunningWorker worker(@"num = 1}");
    const std::string text = Text([OruRTCCallStack backtraceOfNSThread:worker.thread()]);
    EXPECT_EQ(text.find(HeaderStart(worker.number())), 0U) << text;
  }
}

TEST(OruRTCCallStackTest, TheMainThreadKeepsTheTimeStampAsItsName) {
  @autoreleasepool {
    std::string text;
    std::thread([&] {
      @autoreleasepool {
        text = Text([OruRTCCallStack backtraceOfMainThread]);
      }
    }).join();
    EXPECT_EQ(text.find(HeaderStart(static_cast<ThreadNumber>(getpid()))), 0U) << text;
    double seconds = 0;
    const std::string name = Text([[NSThread mainThread] name]);
    ASSERT_EQ(sscanf(name.c_str(), "%lf", &seconds), 1) << name;
    EXPECT_NEAR(seconds, [[NSDate date] timeIntervalSince1970], 60);
    EXPECT_EQ(name.size() - name.find('.'), 7U) << "six digits behind the point";
  }
}

TEST(OruRTCCallStackTest, TheCurrentThreadOnTheMainThreadIsTheMainThread) {
  @autoreleasepool {
    const std::string text = Text([OruRTCCallStack backtraceOfCurrentThread]);
    EXPECT_EQ(text.find(HeaderStart(static_cast<ThreadNumber>(getpid()))), 0U) << text;
    EXPECT_NE(text.find("OruRTCCallStack"), std::string::npos) << text;
  }
}

TEST(OruRTCCallStackTest, TheCurrentThreadOnAWorkerIsThatWorkerUnderItsOwnName) {
  @autoreleasepool {
    std::string text;
    ThreadNumber number = 0;
    std::thread([&] {
      @autoreleasepool {
        number = CurrentThreadNumber();
        oru_test::NameThisThread("native name");
        text = Text([OruRTCCallStack backtraceOfCurrentThread]);
      }
    }).join();
    EXPECT_EQ(text.find(HeaderStart(number) + "native name:\n"), 0U) << text;
  }
}

TEST(OruRTCCallStackTest, AThreadThatDoesNotRunIsResolvedToTheCallingThread) {
  @autoreleasepool {
    NSThread *unstarted = [[[NSThread alloc] init] autorelease];
    RunningWorker ended(@"ended");
    ended.Stop();
    for (NSThread *thread : {unstarted, ended.thread()}) {
      const std::string text = Text([OruRTCCallStack backtraceOfNSThread:thread]);
      EXPECT_EQ(text.find(HeaderStart(CurrentThreadNumber())), 0U) << text;
    }
    EXPECT_EQ(Text([ended.thread() name]), "ended");
  }
}

// One name that is not UTF-8 leaves the others as they are.
TEST(OruRTCCallStackTest, ABrokenNameRecodesOnlyItsOwnBytes) {
  @autoreleasepool {
    std::atomic<int> named{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (const char *name : {"caf\xc3\xa9", "bad\xff", "na\xc3\xafve"}) {
      threads.emplace_back([&, name] {
        oru_test::NameThisThread(name);
        ++named;
        while (!stop) usleep(1000);
      });
    }
    while (named < 3) usleep(1000);
    const std::string text = Text([OruRTCCallStack backtraceOfAllThread]);
    stop = true;
    for (std::thread &thread : threads) thread.join();
    for (const char *name : {" caf\xc3\xa9:", " bad\xc3\xbf:", " na\xc3\xafve:"}) {
      EXPECT_NE(text.find(name), std::string::npos) << name << " in\n" << text;
    }
  }
}

TEST(OruRTCCallStackTest, AllThreadsAreInTheTextOfAll) {
  @autoreleasepool {
    const RunningWorker first(@"first");
    const RunningWorker second(@"second");
    const std::string text = Text([OruRTCCallStack backtraceOfAllThread]);
    for (const ThreadNumber number : {CurrentThreadNumber(), first.number(), second.number()}) {
      EXPECT_NE(text.find(HeaderStart(number)), std::string::npos) << number;
    }
  }
}

}  // namespace
