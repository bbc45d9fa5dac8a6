#include "media_core/biz_engine/crash_handler/darwin/report_time.h"

#include <gtest/gtest.h>
#include <objc/runtime.h>
#include <stdlib.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace CrashHandler {
namespace {

std::string Now() { return [CurrentTimeText() UTF8String]; }

void UseZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

NSLocale* sLocale = nil;
NSLocale* LocaleOfTheTest(id, SEL) { return sLocale; }

// What +[NSLocale currentLocale] gives, in its scope.
class LocaleInUse {
 public:
  explicit LocaleInUse(NSString* name)
      : method_(class_getClassMethod([NSLocale class], @selector(currentLocale))) {
    sLocale = [[NSLocale alloc] initWithLocaleIdentifier:name];
    own_ = method_setImplementation(method_, reinterpret_cast<IMP>(&LocaleOfTheTest));
  }
  ~LocaleInUse() {
    method_setImplementation(method_, own_);
    [sLocale release];
  }

 private:
  const Method method_;
  IMP own_;
};

std::atomic<int> sFormatsSet{0};
IMP sOwnSetter = nullptr;
void CountFormat(id self, SEL selector, NSString* format) {
  ++sFormatsSet;
  reinterpret_cast<void (*)(id, SEL, NSString*)>(sOwnSetter)(self, selector, format);
}

class ReportTime : public testing::Test {
 protected:
  void SetUp() override {
    pool_ = [[NSAutoreleasePool alloc] init];
    UseZone("UTC");
  }
  void TearDown() override { [pool_ drain]; }

 private:
  NSAutoreleasePool* pool_ = nil;
};

TEST_F(ReportTime, FollowsTheZone) {
  // Twelve hours apart: never the same hour.
  const std::string before = Now().substr(11, 2);
  UseZone("ABC-12");
  EXPECT_NE(before, Now().substr(11, 2));
  UseZone("UTC");
  // Not in the last seconds of an hour.
  while (time(nullptr) % 3600 > 3590) std::this_thread::sleep_for(std::chrono::seconds(1));
  const time_t now = time(nullptr);
  char hour[3];
  strftime(hour, sizeof hour, "%H", gmtime(&now));
  EXPECT_EQ(Now().substr(11, 2), hour);
}

TEST_F(ReportTime, FollowsTheLocale) {
  const std::regex ascii(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \d{3})");
  EXPECT_TRUE(std::regex_match(Now(), ascii)) << Now();
  {
    const LocaleInUse persian(@"fa_IR");
    EXPECT_FALSE(std::regex_match(Now(), ascii)) << Now();
  }
  EXPECT_TRUE(std::regex_match(Now(), ascii)) << Now();
}

TEST_F(ReportTime, TakesTheFormatterOfTheCallBefore) {
  Now();
  const Method method = class_getInstanceMethod([NSDateFormatter class], @selector(setDateFormat:));
  sFormatsSet = 0;
  sOwnSetter = method_setImplementation(method, reinterpret_cast<IMP>(&CountFormat));
  Now();
  EXPECT_EQ(sFormatsSet, 0);
  UseZone("ABC-3");
  Now();
  EXPECT_EQ(sFormatsSet, 1);
  method_setImplementation(method, sOwnSetter);
}

TEST_F(ReportTime, ThreadsAskAtOnce) {
  Now();  // GNUstep sets itself up at its first use, and threads are in each other's way there
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&wrong] {
      for (int call = 0; call < 200; ++call) {
        NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
        if (Now().size() != 23) ++wrong;
        [pool drain];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace CrashHandler
