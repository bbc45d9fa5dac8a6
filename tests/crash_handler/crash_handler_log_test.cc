#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using CrashHandler::CrashHandlerLogLevel;

struct Entry {
  int32_t level;
  std::string tag;
  std::string file;
  int32_t line;
  std::string message;
};

std::vector<Entry>* sEntries = nullptr;

void CollectingSink(CrashHandlerLogLevel level, const char* tag, const char* file, int32_t line,
                    char* message) {
  sEntries->push_back({level, tag, file, line, message});
  std::memset(message, 'x', std::strlen(message));
}

class CrashLog : public testing::Test {
 protected:
  void SetUp() override { sEntries = &entries_; }
  void TearDown() override {
    CrashHandler::SetLogSink(nullptr);
    CrashHandler::EnableOutputLogToConsole(false);
    sEntries = nullptr;
  }
  static void Log() {
    CrashHandler::PrintLog(CrashHandler::kCrashLogError, "Crash_Handler", "a/b.mm", 42, "%s %d",
                           "text", 7);
  }
  // What `body` prints to standard output.
  static std::string ConsoleOf(const std::function<void()>& body) {
    return oru_test::RunInFork([&body] {
             body();
             std::fflush(stdout);
             return 0;
           })
        .out;
  }
  std::vector<Entry> entries_;
};

TEST_F(CrashLog, SilentAtTheStart) {
  EXPECT_EQ("", ConsoleOf(Log));
  EXPECT_TRUE(entries_.empty());
}
TEST_F(CrashLog, SinkGetsEveryPart) {
  CrashHandler::SetLogSink(CollectingSink);
  Log();
  ASSERT_EQ(1U, entries_.size());
  EXPECT_EQ(2, entries_[0].level);
  EXPECT_EQ("Crash_Handler", entries_[0].tag);
  EXPECT_EQ("a/b.mm", entries_[0].file);
  EXPECT_EQ(42, entries_[0].line);
  EXPECT_EQ("text 7", entries_[0].message);
}
TEST_F(CrashLog, ConsoleLineHasABlankBeforeItsEnd) {
  EXPECT_EQ("Crash_Handler (a/b.mm:42): text 7 \n", ConsoleOf([] {
              CrashHandler::EnableOutputLogToConsole(true);
              Log();
            }));
}
TEST_F(CrashLog, ConsoleAndSinkTogether) {
  const std::string out = ConsoleOf([] {
    CrashHandler::EnableOutputLogToConsole(true);
    CrashHandler::SetLogSink(CollectingSink);
    Log();
    std::printf("%zu", sEntries->size());
  });
  EXPECT_EQ("Crash_Handler (a/b.mm:42): text 7 \n1", out);
}
// As when a crash has frozen the thread that prints.
TEST_F(CrashLog, ConsoleLockedForGoodLosesItsLinesButNotTheSinks) {
  const std::string out = ConsoleOf([] {
    CrashHandler::EnableOutputLogToConsole(true);
    CrashHandler::SetLogSink(CollectingSink);
    std::promise<void> locked;
    std::promise<void> logged;
    std::thread holder([&] {
      flockfile(stdout);
      locked.set_value();
      logged.get_future().wait();
      funlockfile(stdout);
    });
    locked.get_future().wait();
    for (int i = 0; i < 100; ++i) Log();
    logged.set_value();
    holder.join();
    Log();
    std::printf("%zu", sEntries->size());
  });
  EXPECT_EQ("Crash_Handler (a/b.mm:42): text 7 \n101", out);
}
// Standard output, whose reader is gone.
void CloseReaderOfStandardOutput() {
  int ends[2];
  if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(90);
  close(ends[0]);
  close(ends[1]);
}

int sBrokenPipes = 0;

TEST_F(CrashLog, APipeThatNobodyReadsRaisesNoSignal) {
  const auto child = oru_test::RunInFork([] {
    signal(SIGPIPE, [](int) { ++sBrokenPipes; });
    CloseReaderOfStandardOutput();
    CrashHandler::EnableOutputLogToConsole(true);
    CrashHandler::SetLogSink([](CrashHandlerLogLevel, const char*, const char*, int32_t, char*) {
      if (write(STDOUT_FILENO, "x", 1) == 1) _exit(91);
    });
    Log();
    return sBrokenPipes;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST_F(CrashLog, ABrokenPipeOfTheHostThatIsHeldStaysSo) {
  const auto child = oru_test::RunInFork([] {
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &only, nullptr);
    raise(SIGPIPE);
    CloseReaderOfStandardOutput();
    CrashHandler::EnableOutputLogToConsole(true);
    Log();
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST_F(CrashLog, RemovedSinkGetsNothing) {
  CrashHandler::SetLogSink(CollectingSink);
  CrashHandler::SetLogSink(nullptr);
  Log();
  EXPECT_TRUE(entries_.empty());
}
TEST_F(CrashLog, LongMessageReachesConsoleAndSinkCut) {
  const std::string text(5000, 'y');
  CrashHandler::SetLogSink(CollectingSink);
  const auto log = [&text] {
    CrashHandler::PrintLog(CrashHandler::kCrashLogInfo, "t", "f", 1, "%s", text.c_str());
  };
  log();
  ASSERT_EQ(1U, entries_.size());
  EXPECT_EQ(std::string(2047, 'y'), entries_[0].message);
  EXPECT_EQ("t (f:1): " + std::string(2047, 'y') + " \n", ConsoleOf([&log] {
              CrashHandler::EnableOutputLogToConsole(true);
              log();
            }));
}
TEST_F(CrashLog, MessageOfExactlyTheBufferIsWhole) {
  const std::string text(2047, 'z');
  CrashHandler::SetLogSink(CollectingSink);
  CrashHandler::PrintLog(CrashHandler::kCrashLogInfo, "t", "f", 1, "%s", text.c_str());
  EXPECT_EQ(text, entries_.at(0).message);
}
TEST_F(CrashLog, FailuresOfFileFunctionsAreLogged) {
  CrashHandler::SetLogSink(CollectingSink);
  EXPECT_FALSE(CrashHandler::IsFileInDir("/no/such/folder", "x"));
  EXPECT_EQ(0U, CrashHandler::GetFileSize("/no/such/file"));
  ASSERT_EQ(2U, entries_.size());
  EXPECT_EQ("open dir error when check file, /no/such/folder", entries_[0].message);
  EXPECT_EQ("open file /no/such/file failed when check size", entries_[1].message);
  for (const Entry& entry : entries_) {
    EXPECT_EQ(CrashHandler::kCrashLogError, entry.level);
    EXPECT_EQ("Crash_Handler", entry.tag);
    // A compiler cache may put a relative path to the root in front.
    const std::string file = "media_core/biz_engine/crash_handler/tools/crash_handler_utils.cc";
    EXPECT_EQ(file,
              entry.file.substr(entry.file.size() - std::min(entry.file.size(), file.size())));
    EXPECT_GT(entry.line, 0);
  }
}
TEST_F(CrashLog, ListingFunctionsStaySilent) {
  CrashHandler::SetLogSink(CollectingSink);
  CrashHandler::GetDirInPath("/no/such/folder");
  CrashHandler::GetDirFileByPrefixAndSuffix("/no/such/folder", "a", "b");
  EXPECT_TRUE(entries_.empty());
}

}  // namespace
