#include "media_core/biz_engine/crash_handler/crash_settings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace CrashHandler {
namespace {

constexpr int kThreads = 4;
constexpr int kChanges = 500;

// Longer than what a string holds without the heap: a freed one is noticed by the sanitizers.
std::string LongText(int number) { return std::string(100, 'x') + std::to_string(number); }

void SetApp(PublishedSettings* published, const std::string& app) {
  published->Change([&app](CrashSettings* settings) { settings->app_id = app; });
}

TEST(PublishedSettingsTest, AReaderKeepsItsRecord) {
  PublishedSettings published({});
  SetApp(&published, LongText(1));
  const PublishedSettings::Reader early(published);
  for (int i = 2; i < 10; ++i) SetApp(&published, LongText(i));
  EXPECT_EQ(early->app_id, LongText(1));
  EXPECT_EQ(PublishedSettings::Reader(published)->app_id, LongText(9));
}

TEST(PublishedSettingsTest, AChangeKeepsWhatItDoesNotTouch) {
  PublishedSettings published({});
  SetApp(&published, "app");
  published.Change([](CrashSettings* settings) { settings->session_id = "session"; });
  const PublishedSettings::Reader now(published);
  EXPECT_EQ(now->app_id, "app");
  EXPECT_EQ(now->session_id, "session");
}

TEST(PublishedSettingsTest, AChangeThatRaisesChangesNothing) {
  PublishedSettings published({});
  SetApp(&published, "before");
  EXPECT_THROW(published.Change([](CrashSettings* settings) {
    settings->app_id = "half";
    throw std::bad_alloc();
  }),
               std::bad_alloc);
  EXPECT_EQ(PublishedSettings::Reader(published)->app_id, "before");
}

TEST(PublishedSettingsTest, NoChangeOfAnyThreadIsLost) {
  PublishedSettings published({});
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&published] {
      for (int j = 0; j < kChanges; ++j) {
        published.Change([](CrashSettings* settings) { settings->extra_info += 'x'; });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(PublishedSettings::Reader(published)->extra_info.size(), size_t{kThreads} * kChanges);
}

TEST(PublishedSettingsTest, ReadersBesideChangesSeeWholeRecords) {
  PublishedSettings published({});
  std::atomic<int> running{kThreads};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&published, &running, i] {
      for (int j = 0; j < kChanges; ++j) {
        published.Change([i, j](CrashSettings* settings) {
          settings->app_id = LongText(i * kChanges + j);
          settings->session_id = settings->app_id;
        });
      }
      --running;
    });
  }
  while (running > 0) {
    const PublishedSettings::Reader reader(published);
    if (reader->app_id != "Unknown-App") EXPECT_EQ(reader->app_id, reader->session_id);
  }
  for (std::thread& thread : threads) thread.join();
}

// That they are freed then, and not only forgotten, is for the sanitizer's leak check to see.
TEST(PublishedSettingsTest, ReplacedRecordsWaitOnlyForReaders) {
  PublishedSettings published({});
  for (int i = 0; i < 100; ++i) SetApp(&published, LongText(i));
  EXPECT_EQ(published.WaitingForTesting(), 0);
  {
    const PublishedSettings::Reader reader(published);
    for (int i = 0; i < 100; ++i) SetApp(&published, LongText(i));
    EXPECT_EQ(published.WaitingForTesting(), 100);
  }
  SetApp(&published, LongText(0));
  EXPECT_EQ(published.WaitingForTesting(), 0);
}

}  // namespace
}  // namespace CrashHandler
