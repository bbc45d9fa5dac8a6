#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/report/last_path_entry.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"

namespace CrashHandler {

using machine::CallChain;
using machine::ChainStatus;
using machine::CurrentThreadNumber;
using machine::SymbolInformation;
using machine::ThreadNumber;

extern "C" __attribute__((noinline, used)) void BlocksUntilTheGateOpens(std::mutex* gate) {
  gate->lock();
  gate->unlock();
}

namespace {

void* Pointer(uintptr_t address) { return reinterpret_cast<void*>(address); }

TEST(BacktraceEntryTest, ImageAddressSymbolAndOffsetStandInTheirColumns) {
  const SymbolInformation record = {"/usr/lib/libx.dylib", Pointer(0x10000), "run",
                                    Pointer(0x10100)};
  EXPECT_EQ(logBacktraceEntry(0x10123, record),
            "libx.dylib                      0x00010123 run + 35\n");
}

TEST(BacktraceEntryTest, AnImageNameLongerThanTheColumnIsNotCut) {
  const std::string path = "/" + std::string(40, 'n');
  const SymbolInformation record = {path.c_str(), Pointer(0x10000), "run", Pointer(0x10100)};
  EXPECT_EQ(logBacktraceEntry(0x10100, record), path.substr(1) + "  0x00010100 run + 0\n");
}

TEST(BacktraceEntryTest, AnAddressHasAtLeastEightDigits) {
  const SymbolInformation record = {"x", Pointer(0), "f", Pointer(0)};
  EXPECT_NE(logBacktraceEntry(0x7fff12345678, record).find("  0x7fff12345678 f"),
            std::string::npos);
  EXPECT_NE(logBacktraceEntry(1, record).find("  0x00000001 f"), std::string::npos);
}

TEST(BacktraceEntryTest, WithoutASymbolTheImagesBaseStandsForIt) {
  const SymbolInformation record = {"/a/b", Pointer(0x10000), nullptr, Pointer(0x10100)};
  EXPECT_EQ(logBacktraceEntry(0x10123, record),
            "b                               0x00010123 0x10000 + 291\n");
}

TEST(BacktraceEntryTest, OutsideEveryImageTheBaseStandsForTheImageToo) {
  const SymbolInformation record = {nullptr, nullptr, nullptr, nullptr};
  EXPECT_EQ(logBacktraceEntry(0x10123, record),
            "0x0000000000000000              0x00010123 0x0 + 65827\n");
}

TEST(BacktraceEntryTest, AnAddressBelowItsSymbolGivesAWrappedOffset) {
  const SymbolInformation record = {"x", Pointer(0), "f", Pointer(2)};
  EXPECT_NE(logBacktraceEntry(1, record).find("f + 18446744073709551615\n"), std::string::npos);
}

TEST(LastPathEntryTest, WhatStandsBehindTheLastSlash) {
  EXPECT_STREQ(lastPathEntry("/a/b/c"), "c");
  EXPECT_STREQ(lastPathEntry("plain"), "plain");
  EXPECT_STREQ(lastPathEntry("/a/"), "");
  EXPECT_EQ(lastPathEntry(nullptr), nullptr);
}

CallChain Failed(ChainStatus status) {
  CallChain chain = {};
  chain.status = status;
  return chain;
}

std::string ThreadText(ThreadNumber number, const char* name, const CallChain& chain,
                       const SymbolInformation* records) {
  machine::TextBuffer text;
  AppendThreadText(number, name, chain, records, &text);
  return StringOf(text);
}

TEST(ThreadTextTest, FailuresHaveNeitherHeaderNorLineEnd) {
  EXPECT_EQ(ThreadText(77, "n", Failed(ChainStatus::kNoThreadState), nullptr),
            "Fail to get information about thread: 77");
  EXPECT_EQ(ThreadText(77, "n", Failed(ChainStatus::kNoInstruction), nullptr),
            "Fail to get instruction address");
  EXPECT_EQ(ThreadText(77, "n", Failed(ChainStatus::kNoFrame), nullptr),
            "Fail to get frame pointer");
}

TEST(ThreadTextTest, AThreadWithoutNameHasAnEmptyOneInItsHeader) {
  CallChain chain = {};
  chain.status = ChainStatus::kComplete;
  EXPECT_EQ(ThreadText(4294967295, "", chain, nullptr), "Thread 4294967295 :\n\n");
}

TEST(ThreadTextTest, ALinePerEntryAndAnEmptyLineAtTheEnd) {
  CallChain chain = {};
  chain.status = ChainStatus::kComplete;
  chain.length = 2;
  chain.entries[0] = 0x10;
  chain.entries[1] = 0x20;
  const SymbolInformation records[] = {{"/x", Pointer(0), "a", Pointer(0x10)},
                                       {"/x", Pointer(0), "b", Pointer(0x10)}};
  EXPECT_EQ(ThreadText(3, "main thread", chain, records),
            "Thread 3 main thread:\n"
            "x                               0x00000010 a + 0\n"
            "x                               0x00000020 b + 16\n"
            "\n");
}

extern "C" __attribute__((noinline, used)) int SymbolicateTarget(int x) { return x * 3; }

TEST(SymbolicateTest, OnlyTheFirstEntryIsLookedUpAtItsOwnAddress) {
  const auto start = reinterpret_cast<uintptr_t>(&SymbolicateTarget);
  const uintptr_t addresses[] = {start, start, start + 1};
  SymbolInformation records[3];
  machine::Symbolizer symbolizer;
  symbolicate(&symbolizer, addresses, records, 3, 0);
  EXPECT_STREQ(records[0].dli_sname, "SymbolicateTarget");
  EXPECT_STRNE(records[1].dli_sname, "SymbolicateTarget");
  EXPECT_STREQ(records[2].dli_sname, "SymbolicateTarget");
}

TEST(SymbolicateTest, WithSkippedEntriesTheFirstIsAReturnAddressToo) {
  const auto start = reinterpret_cast<uintptr_t>(&SymbolicateTarget);
  SymbolInformation record;
  machine::Symbolizer symbolizer;
  symbolicate(&symbolizer, &start, &record, 1, 1);
  EXPECT_STRNE(record.dli_sname, "SymbolicateTarget");
}

TEST(SymbolicateTest, AnEmptyChainIsNothingToDo) {
  machine::Symbolizer symbolizer;
  symbolicate(&symbolizer, nullptr, nullptr, 0, 0);
}

// A thread that waits for a lock, or blocks all signals meanwhile.
class BlockedThread {
 public:
  explicit BlockedThread(bool frozen, const char* name) {
    gate_.lock();
    thread_ = std::thread([this, frozen, name] {
      oru_test::NameThisThread(name);
      sigset_t all;
      sigfillset(&all);
      if (frozen) pthread_sigmask(SIG_BLOCK, &all, nullptr);
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        number_ = CurrentThreadNumber();
      }
      started_.notify_all();
      BlocksUntilTheGateOpens(&gate_);
    });
    std::unique_lock<std::mutex> lock(mutex_);
    started_.wait(lock, [this] { return number_ != 0; });
  }
  ~BlockedThread() {
    gate_.unlock();
    thread_.join();
  }
  ThreadNumber number() const { return number_; }

 private:
  std::mutex gate_;
  std::mutex mutex_;
  std::condition_variable started_;
  ThreadNumber number_ = 0;
  std::thread thread_;
};

TEST(TextOfThreadTest, NamesTheFunctionThatABlockedThreadWaitsIn) {
  const BlockedThread thread(false, "blocked one");
  // It may not have reached the lock yet.
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text = TextOfThread(thread.number());
    if (text.find("BlocksUntilTheGateOpens") != std::string::npos) break;
  }
  EXPECT_EQ(text.find("Thread " + std::to_string(thread.number()) + " blocked one:\n"), 0U);
  EXPECT_NE(text.find(" BlocksUntilTheGateOpens + "), std::string::npos) << text;
  EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

TEST(TextOfThreadTest, AThreadThatBlocksAllSignalsShowsWhereItWaitsToo) {
  const BlockedThread thread(true, "frozen");
  const std::string header = "Thread " + std::to_string(thread.number()) + " frozen:\nlibc.so";
  // It may not have reached the lock yet.
  std::string text;
  for (int i = 0; i < 1000 && text.find(header) != 0; ++i) text = TextOfThread(thread.number());
  EXPECT_EQ(text.find(header), 0U) << text;
}

TEST(TextOfThreadTest, AThreadThatDoesNotExistGivesTheFailureText) {
  EXPECT_EQ(TextOfThread(0x7ffffff0), "Fail to get information about thread: 2147483632");
}

TEST(TextOfAllThreadsTest, HasABlockPerThreadTheCallingOneIncluded) {
  oru_test::NameThisThread("");
  const BlockedThread first(false, "first");
  const BlockedThread frozen(true, "frozen");
  const BlockedThread second(false, "second");
  const std::string text = TextOfAllThreads();
  const auto header = [](ThreadNumber number, const std::string& name) {
    return "Thread " + std::to_string(number) + " " + name + ":\n";
  };
  EXPECT_NE(text.find(header(CurrentThreadNumber(), "")), std::string::npos) << text;
  EXPECT_NE(text.find(header(first.number(), "first")), std::string::npos);
  EXPECT_NE(text.find(header(frozen.number(), "frozen")), std::string::npos);
  EXPECT_NE(text.find(header(second.number(), "second")), std::string::npos);
  EXPECT_NE(text.find("TextOfAllThreads"), std::string::npos);
}

TEST(TextOfAllThreadsTest, NoBlockHasMoreThanFiftyLines) {
  const std::string text = TextOfAllThreads();
  size_t lines = 0;
  for (const std::string& line : oru_test::SplitLines(text)) {
    lines = line.empty() || line.find("Thread ") == 0 ? 0 : lines + 1;
    EXPECT_LE(lines, 50U);
  }
}

TEST(PrepareTest, CanBeCalledAgain) {
  PrepareCallStacks();
  PrepareCallStacks();
  EXPECT_NE(TextOfAllThreads().find("Thread "), std::string::npos);
}

}  // namespace
}  // namespace CrashHandler
