#include "media_core/biz_engine/crash_handler/report/crash_notes.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace CrashHandler {
namespace {

class CrashNotesTest : public testing::Test {
 protected:
  // Without the empty ones.
  std::map<std::string, std::string> All() const {
    std::map<std::string, std::string> all;
    CrashNote note;
    for (size_t i = 0; i < kMaxCrashNotes && notes_->Read(i, &note); ++i) {
      EXPECT_EQ(all.count(note.key), 0U) << note.key;
      if (note.value[0] != '\0') all[note.key] = note.value;
    }
    return all;
  }

  const std::unique_ptr<CrashNotes> notes_ = std::make_unique<CrashNotes>();
};

using Notes = std::map<std::string, std::string>;

TEST_F(CrashNotesTest, ThereAreNoneAtFirst) { EXPECT_EQ(All(), Notes()); }

TEST_F(CrashNotesTest, ANoteIsThereUntilItIsReplacedOrTakenAway) {
  EXPECT_TRUE(notes_->Set("channel", "alpha"));
  EXPECT_TRUE(notes_->Set("user", "7"));
  EXPECT_EQ(All(), (Notes{{"channel", "alpha"}, {"user", "7"}}));
  EXPECT_TRUE(notes_->Set("channel", "beta"));
  EXPECT_EQ(All(), (Notes{{"channel", "beta"}, {"user", "7"}}));
  EXPECT_TRUE(notes_->Set("user", nullptr));
  EXPECT_TRUE(notes_->Set("channel", ""));
  EXPECT_EQ(All(), Notes());
  EXPECT_TRUE(notes_->Set("user", "8"));
  EXPECT_EQ(All(), (Notes{{"user", "8"}}));
}

TEST_F(CrashNotesTest, KeysThatCannotBeAreRefused) {
  EXPECT_FALSE(notes_->Set(nullptr, "x"));
  EXPECT_FALSE(notes_->Set("", "x"));
  EXPECT_FALSE(notes_->Set(std::string(kMaxCrashNoteKeyBytes + 1, 'k').c_str(), "x"));
  EXPECT_EQ(All(), Notes());
  EXPECT_TRUE(notes_->Set(std::string(kMaxCrashNoteKeyBytes, 'k').c_str(), "x"));
  EXPECT_EQ(All().size(), 1U);
}

TEST_F(CrashNotesTest, ALongValueIsCutBehindAWholeCharacter) {
  notes_->Set("exact", std::string(kMaxCrashNoteValueBytes, 'v').c_str());
  notes_->Set("long", std::string(10000, 'v').c_str());
  // The last place would be the middle of a character of two bytes.
  notes_->Set("umlauts", (std::string(kMaxCrashNoteValueBytes - 1, 'v') + "\xC3\xA4").c_str());
  const Notes all = All();
  EXPECT_EQ(all.at("exact"), std::string(kMaxCrashNoteValueBytes, 'v'));
  EXPECT_EQ(all.at("long"), std::string(kMaxCrashNoteValueBytes, 'v'));
  EXPECT_EQ(all.at("umlauts"), std::string(kMaxCrashNoteValueBytes - 1, 'v'));
}

TEST_F(CrashNotesTest, AKeyTooManyIsRefusedAndTheOthersGoOn) {
  for (size_t i = 0; i < kMaxCrashNotes; ++i) {
    ASSERT_TRUE(notes_->Set(("key" + std::to_string(i)).c_str(), "first"));
  }
  // Also as often as there are places to write them.
  for (int i = 0; i < 1000; ++i) ASSERT_FALSE(notes_->Set("one more", "x"));
  for (int round = 0; round < 10; ++round) {
    for (size_t i = 0; i < kMaxCrashNotes; ++i) {
      ASSERT_TRUE(notes_->Set(("key" + std::to_string(i)).c_str(), "again"));
    }
  }
  EXPECT_EQ(All().size(), kMaxCrashNotes);
  EXPECT_EQ(All().at("key63"), "again");
}

TEST_F(CrashNotesTest, ThreadsThatBringTheSameKeysGetOneNoteEach) {
  constexpr int kThreads = 8;
  for (int round = 0; round < 50; ++round) {
    CrashNotes notes;
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&] {
        ++ready;
        while (ready < kThreads) std::this_thread::yield();
        for (int i = 0; i < 16; ++i) EXPECT_TRUE(notes.Set(std::to_string(i).c_str(), "x"));
      });
    }
    for (std::thread& thread : threads) thread.join();
    CrashNote note;
    size_t count = 0;
    while (count < kMaxCrashNotes && notes.Read(count, &note)) ++count;
    ASSERT_EQ(count, 16U);
  }
}

// A value is one letter over and over: a torn one would have two.
TEST_F(CrashNotesTest, AReaderNeverSeesHalfAValue) {
  std::atomic<bool> done{false};
  std::vector<std::thread> writers;
  for (int t = 0; t < 3; ++t) {
    writers.emplace_back([&, t] {
      std::string value(kMaxCrashNoteValueBytes, 'a');
      for (int i = 0; !done; ++i) {
        value.assign(static_cast<size_t>(1 + (i * 37) % 255), static_cast<char>('a' + i % 26));
        notes_->Set(t == 2 ? "other" : "shared", value.c_str());
      }
    });
  }
  CrashNote note;
  int seen = 0;
  while (seen < 100000) {
    if (!notes_->Read(static_cast<size_t>(seen % 2), &note)) {
      std::this_thread::yield();
      continue;
    }
    ++seen;
    const size_t length = strlen(note.value);
    ASSERT_EQ(std::string(note.value), std::string(length, note.value[0]));
    ASSERT_TRUE(strcmp(note.key, "shared") == 0 || strcmp(note.key, "other") == 0) << note.key;
  }
  done = true;
  for (std::thread& writer : writers) writer.join();
}

CrashNotes* sInterrupted = nullptr;
std::atomic<unsigned> sValues{0};

void SetAValue() {
  const unsigned number = sValues.fetch_add(1);
  char value[kMaxCrashNoteValueBytes + 1] = {};
  memset(value, static_cast<int>('a' + number % 26), 1 + number * 37 % kMaxCrashNoteValueBytes);
  sInterrupted->Set("key", value);
}

// Each time by two values: the last one stands where the one stood that is being read.
TEST_F(CrashNotesTest, AReaderThatASetterInterruptsNeverSeesHalfAValue) {
  constexpr unsigned kValues = 6000;
  sInterrupted = notes_.get();
  SetAValue();
  struct sigaction action = {};
  action.sa_handler = [](int) {
    SetAValue();
    SetAValue();
  };
  sigaction(SIGUSR1, &action, nullptr);
  std::thread interrupter([reader = pthread_self()] {
    for (unsigned seen = 0; seen < kValues; seen = sValues) pthread_kill(reader, SIGUSR1);
  });
  CrashNote note;
  bool whole = true;
  // A sanitizer hands signals out seldom.
  for (int i = 0; i < 1000000 && whole && sValues < kValues; ++i) {
    if (!notes_->Read(0, &note)) continue;
    const char letter[] = {note.value[0], '\0'};
    whole = strspn(note.value, letter) == strlen(note.value);
  }
  EXPECT_TRUE(whole) << note.value;
  while (sValues < kValues) SetAValue();
  interrupter.join();
  signal(SIGUSR1, SIG_IGN);  // the last one may be on its way
}

}  // namespace
}  // namespace CrashHandler
