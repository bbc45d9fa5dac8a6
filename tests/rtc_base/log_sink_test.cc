#include "media_core/common/webrtc/rtc_base/log_sink.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/rtc_base/log_capture.h"
#include "tests/support/child_process.h"
#include "tests/support/has_feature.h"

namespace {

using oru_test::CollectingSink;
using rtc::LogMessage;

void LogTo(int sink_id, rtc::LoggingSeverity sev, const std::string& text) {
  LogMessage(nullptr, 0, sev, rtc::ERRCTX_NONE, 0, nullptr, sink_id).stream() << text;
}

// Calls back for every line.
class CallingSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& line) override { on_line(line); }
  std::function<void(const std::string&)> on_line;
};

using Lines = std::vector<std::string>;

TEST(LogSinks, MessageWithSinkIdReachesOnlySinksOfThatId) {
  CollectingSink seven(7);
  CollectingSink eight(8);
  CollectingSink zero;
  for (CollectingSink* sink : {&seven, &eight, &zero}) {
    LogMessage::AddLogToStream(sink, rtc::LS_INFO);
  }
  LogTo(7, rtc::LS_INFO, "x");
  EXPECT_EQ(seven.lines, Lines({"[I] x\n"}));
  EXPECT_TRUE(eight.lines.empty());
  EXPECT_TRUE(zero.lines.empty());
  ORU_LOG_SINK(LS_INFO, 8) << "y";
  EXPECT_EQ(eight.lines.size(), 1u);
  EXPECT_EQ(seven.lines.size(), 1u);
}

TEST(LogSinks, MessageWithoutSinkIdReachesAllWhoseThresholdItMeets) {
  CollectingSink info(7);
  CollectingSink error(8);
  LogMessage::AddLogToStream(&info, rtc::LS_INFO);
  LogMessage::AddLogToStream(&error, rtc::LS_ERROR);
  LogTo(0, rtc::LS_WARNING, "w");
  LogTo(0, rtc::LS_ERROR, "e");
  EXPECT_EQ(info.lines, Lines({"[W] w\n", "[E] e\n"}));
  EXPECT_EQ(error.lines, Lines({"[E] e\n"}));
}

TEST(LogSinks, SinkIdDoesNotLiftTheThreshold) {
  CollectingSink sink(7);
  LogMessage::AddLogToStream(&sink, rtc::LS_ERROR);
  LogTo(7, rtc::LS_WARNING, "w");
  EXPECT_TRUE(sink.lines.empty());
}

TEST(LogSinks, LastAddedSinkAloneMakesTheMinimum) {
  CollectingSink a;
  CollectingSink b;
  LogMessage::AddLogToStream(&a, rtc::LS_VERBOSE);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_VERBOSE);
  LogMessage::AddLogToStream(&b, rtc::LS_ERROR);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_ERROR);
  LogMessage::LogToDebug(rtc::LS_INFO);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_INFO);
  EXPECT_EQ(LogMessage::UpdateMinLogSeverity(), rtc::LS_INFO);
  LogMessage::LogToDebug(rtc::LS_NONE);
  LogMessage::RemoveLogToStream(&b);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_VERBOSE);
  LogMessage::RemoveLogToStream(&a);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_NONE);
}

TEST(LogSinks, LowestThresholdWithoutSinksIsNone) {
  EXPECT_EQ(LogMessage::GetLogToStream(), 6);
  CollectingSink passing;
  EXPECT_EQ(LogMessage::GetLogToStream(&passing), 6);
  LogMessage::AddLogToStream(&passing, rtc::LS_VERBOSE);
  LogMessage::RemoveLogToStream(&passing);
  EXPECT_EQ(LogMessage::GetLogToStream(), 6);
}

TEST(LogSinks, LowestThresholdIsAskedForOneSinkOrAll) {
  CollectingSink a;
  CollectingSink b;
  EXPECT_EQ(LogMessage::GetLogToStream(&a), rtc::LS_NONE);
  LogMessage::AddLogToStream(&a, rtc::LS_ERROR);
  LogMessage::AddLogToStream(&a, rtc::LS_DEBUG);
  LogMessage::AddLogToStream(&b, rtc::LS_VERBOSE);
  EXPECT_EQ(LogMessage::GetLogToStream(&a), rtc::LS_DEBUG);
  EXPECT_EQ(LogMessage::GetLogToStream(nullptr), rtc::LS_VERBOSE);
}

TEST(LogSinks, AreCalledInOrderOfRegistration) {
  std::string order;
  CallingSink sinks[3];
  for (int i = 0; i < 3; ++i) {
    sinks[i].on_line = [&order, i](const std::string&) { order += std::to_string(i); };
  }
  for (const int i : {2, 0, 1}) {
    LogMessage::AddLogToStream(&sinks[i], rtc::LS_INFO);
  }
  ORU_LOG(LS_INFO) << "x";
  EXPECT_EQ(order, "201");
}

TEST(LogSinks, RegisteredTwiceGetsEachLineTwiceUntilRemovedTwice) {
  CollectingSink sink;
  LogMessage::AddLogToStream(&sink, rtc::LS_ERROR);
  LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  ORU_LOG(LS_ERROR) << "x";
  EXPECT_EQ(sink.lines.size(), 2u);
  LogMessage::RemoveLogToStream(&sink);
  EXPECT_EQ(LogMessage::GetLogToStream(&sink), rtc::LS_INFO) << "the first entry goes first";
  LogMessage::RemoveLogToStream(&sink);
  LogMessage::RemoveLogToStream(&sink);
  EXPECT_EQ(LogMessage::GetLogToStream(&sink), rtc::LS_NONE);
}

TEST(LogSinks, NullIsIgnored) {
  LogMessage::AddLogToStream(nullptr, rtc::LS_VERBOSE);
  LogMessage::RemoveLogToStream(nullptr);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_NONE);
  LogTo(0, rtc::LS_ERROR, "x");
}

TEST(LogSinks, SinkThatRemovesItselfSkipsNoOther) {
  CallingSink first;
  CollectingSink second;
  int calls = 0;
  first.on_line = [&](const std::string&) {
    ++calls;
    LogMessage::RemoveLogToStream(&first);
  };
  LogMessage::AddLogToStream(&first, rtc::LS_INFO);
  LogMessage::AddLogToStream(&second, rtc::LS_INFO);
  ORU_LOG(LS_INFO) << "x";
  ORU_LOG(LS_INFO) << "y";
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(second.lines.size(), 2u);
}

TEST(LogSinks, SinkRemovedByAnEarlierOneIsNotCalled) {
  CallingSink first;
  CollectingSink second;
  CollectingSink third;
  first.on_line = [&](const std::string&) { LogMessage::RemoveLogToStream(&second); };
  LogMessage::AddLogToStream(&first, rtc::LS_INFO);
  LogMessage::AddLogToStream(&second, rtc::LS_INFO);
  LogMessage::AddLogToStream(&third, rtc::LS_INFO);
  ORU_LOG(LS_INFO) << "x";
  EXPECT_TRUE(second.lines.empty());
  EXPECT_EQ(third.lines.size(), 1u);
}

TEST(LogSinks, SinkAddedByAnotherGetsTheLineToo) {
  CallingSink first;
  CollectingSink added;
  first.on_line = [&](const std::string&) {
    if (LogMessage::GetLogToStream(&added) == rtc::LS_NONE) {
      LogMessage::AddLogToStream(&added, rtc::LS_INFO);
    }
  };
  LogMessage::AddLogToStream(&first, rtc::LS_INFO);
  ORU_LOG(LS_INFO) << "x";
  EXPECT_EQ(added.lines.size(), 1u);
}

TEST(LogSinks, SinkThatLogsGetsItsOwnLineInBetween) {
  CallingSink nested;
  CollectingSink after;
  nested.on_line = [&](const std::string& line) {
    if (line.find("outer") != std::string::npos) {
      LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "inner of " << line.size();
    }
  };
  LogMessage::AddLogToStream(&nested, rtc::LS_INFO);
  LogMessage::AddLogToStream(&after, rtc::LS_INFO);
  LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "outer";
  EXPECT_EQ(after.lines, Lines({"[I] inner of 10\n", "[I] outer\n"}));
}

size_t LogDuringInitialisation() {
  CollectingSink sink;
  LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  ORU_LOG(LS_INFO) << "early";
  LogMessage::RemoveLogToStream(&sink);
  return sink.lines.size();
}

const size_t sLinesBeforeMain = LogDuringInitialisation();

TEST(LogSinks, WorkInStaticInitialisers) { EXPECT_EQ(sLinesBeforeMain, 1u); }

TEST(LogSinks, LoggingAtExitIsHarmless) {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    static CollectingSink sink;
    LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
    ORU_LOG(LS_INFO) << "x";
    atexit([] { ORU_LOG(LS_INFO) << "late"; });
    exit(sink.lines.size() == 1 ? 5 : 6);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending() << child.err;
}

TEST(LogSinksInThreads, ThreadLocalDestructorsMayLog) {
  CollectingSink sink;
  LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  struct LogsAtThreadEnd {
    ~LogsAtThreadEnd() { LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "end " << 1 << 2.5; }
  };
  std::thread([] {
    thread_local const LogsAtThreadEnd logs;
    static_cast<void>(&logs);
    LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "begin";
  }).join();
  LogMessage::RemoveLogToStream(&sink);
  EXPECT_EQ(sink.lines, Lines({"[I] begin\n", "[I] end 12.5\n"}));
}

TEST(LogSinksInThreads, MessageMayEndOnAnotherThread) {
  CollectingSink sink;
  LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  auto message = std::make_unique<LogMessage>(nullptr, 0, rtc::LS_INFO);
  message->stream() << "moved";
  std::thread([owned = std::move(message)]() mutable { owned.reset(); }).join();
  LogMessage::RemoveLogToStream(&sink);
  EXPECT_EQ(sink.lines, Lines({"[I] moved\n"}));
}

// Not under the thread sanitizer, whose pthread_once, unlike glibc's, leaves a forked child waiting
// in std::locale for a thread that it does not have.
#if !__has_feature(thread_sanitizer)
TEST(LogSinksInThreads, ForkWhileOthersLogLeavesTheChildAbleToLog) {
  CollectingSink sink;
  LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  std::atomic<bool> stop{false};
  std::thread logger([&] {
    while (!stop) {
      ORU_LOG(LS_INFO) << "busy";
    }
  });
  for (int i = 0; i < 20; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      ORU_LOG(LS_INFO) << "child";
      _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  stop = true;
  logger.join();
  LogMessage::RemoveLogToStream(&sink);
}
#endif

// Eight threads log to four sinks while a ninth adds and removes two more.
TEST(LogSinksInThreads, NoLineIsLostOrTornWhileSinksComeAndGo) {
  constexpr int kThreads = 8;
  constexpr int kLines = 400;
  CollectingSink sinks[4];
  for (CollectingSink& sink : sinks) {
    LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  }
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    while (!stop) {
      CollectingSink passing[2];
      for (CollectingSink& sink : passing) {
        LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
      }
      std::this_thread::yield();
      for (CollectingSink& sink : passing) {
        LogMessage::RemoveLogToStream(&sink);
      }
    }
  });
  std::vector<std::thread> loggers;
  loggers.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    loggers.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) {
        LogMessage(nullptr, 0, rtc::LS_INFO).stream()
            << "thread " << t << " line " << i << " of " << 0.5 << std::string(40, 'x');
      }
    });
  }
  for (std::thread& logger : loggers) {
    logger.join();
  }
  stop = true;
  changer.join();
  std::set<std::string> expected;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kLines; ++i) {
      expected.insert("[I] thread " + std::to_string(t) + " line " + std::to_string(i) + " of 0.5" +
                      std::string(40, 'x') + "\n");
    }
  }
  for (CollectingSink& sink : sinks) {
    LogMessage::RemoveLogToStream(&sink);
    EXPECT_EQ(sink.lines.size(), expected.size());
    EXPECT_EQ(std::set<std::string>(sink.lines.begin(), sink.lines.end()), expected);
    EXPECT_EQ(sink.lines, sinks[0].lines) << "every sink sees one order";
  }
}

}  // namespace
