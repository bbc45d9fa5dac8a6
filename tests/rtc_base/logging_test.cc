#include "media_core/common/webrtc/rtc_base/logging.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/log_preference.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/rtc_base/log_capture.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"

namespace {

using oru_test::ChildResult;
using oru_test::LogCapture;
using oru_test::RunInFork;
using rtc::LogMessage;

bool Matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

std::string LineOf(const char* file, rtc::LoggingSeverity sev) {
  const LogCapture capture;
  LogMessage(file, 42, sev).stream() << "text";
  return capture.OnlyLine();
}

// What a child writes to standard error for one line, with that reader of the preference.
std::string StderrWith(rtc::LogPreferenceReader reader, bool by_default) {
  const ChildResult child = RunInFork([&] {
    rtc::SetLogPreferenceReader(reader);
    LogMessage::SetLogToStderr(by_default);
    LogMessage::LogToDebug(rtc::LS_INFO);
    LogMessage("file.cc", 1, rtc::LS_INFO).stream() << "shown";
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  return child.err;
}

TEST(LogPrefix, ShowsSeverityFileAndLine) {
  EXPECT_EQ(LineOf("file.cc", rtc::LS_INFO), "[I] (file.cc:42): text\n");
}

TEST(LogPrefix, NamesEverySeverity) {
  EXPECT_EQ(LineOf(nullptr, rtc::LS_SENSITIVE), "[SENSITIVE] text\n");
  EXPECT_EQ(LineOf(nullptr, rtc::LS_VERBOSE), "[V] text\n");
  EXPECT_EQ(LineOf(nullptr, rtc::LS_DEBUG), "[D] text\n");
  EXPECT_EQ(LineOf(nullptr, rtc::LS_INFO), "[I] text\n");
  EXPECT_EQ(LineOf(nullptr, rtc::LS_WARNING), "[W] text\n");
  EXPECT_EQ(LineOf(nullptr, rtc::LS_ERROR), "[E] text\n");
}

TEST(LogPrefix, SeverityOutsideTheTableIsMarked) {
  const LogCapture capture(static_cast<rtc::LoggingSeverity>(-9));
  LogMessage(nullptr, 0, static_cast<rtc::LoggingSeverity>(-1)).stream() << "low";
  EXPECT_EQ(capture.OnlyLine(), "[?] low\n");
}

TEST(LogPrefix, PathWithBothSeparatorsPrintsAfterTheLastOne) {
  EXPECT_EQ(LineOf("a/b\\c.cc", rtc::LS_INFO), "[I] (c.cc:42): text\n");
  EXPECT_EQ(LineOf("a\\b/c.cc", rtc::LS_INFO), "[I] (c.cc:42): text\n");
}

TEST(LogPrefix, FileNameOfAnyLengthIsFoundBehindAnySeparator) {
  for (size_t length = 0; length < 600; length < 40 ? ++length : length += 37) {
    const std::string name(length, 'n');
    const std::string line = "[I] (" + name + ":42): text\n";
    EXPECT_EQ(LineOf(name.c_str(), rtc::LS_INFO), line);
    for (const char* folder : {"/", "\\", "a/", "folder\\", "one/two\\", "one\\two/three/"}) {
      EXPECT_EQ(LineOf((folder + name).c_str(), rtc::LS_INFO), line) << folder;
    }
  }
}

TEST(LogPrefix, FileNameMayHoldAnyOtherByte) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (c != '/' && c != '\\') {
      const std::string name = "twelve bytes" + std::string(1, c);
      EXPECT_EQ(LineOf(("folder/" + name).c_str(), rtc::LS_INFO), "[I] (" + name + ":42): text\n");
    }
  }
}

TEST(LogPrefix, LineNumberOfAnySizePrintsInFull) {
  for (const int number : {0, 7, 10, 999, 1000, 2147483647, -1, -2147483647 - 1}) {
    const LogCapture capture;
    LogMessage("f.cc", number, rtc::LS_INFO).stream() << "text";
    EXPECT_EQ(capture.OnlyLine(), "[I] (f.cc:" + std::to_string(number) + "): text\n");
  }
}

TEST(LogPrefix, PathThatEndsWithASeparatorPrintsEmpty) {
  EXPECT_EQ(LineOf("folder/", rtc::LS_INFO), "[I] (:42): text\n");
}

TEST(LogPrefix, NullFileDropsFileAndLine) {
  EXPECT_EQ(LineOf(nullptr, rtc::LS_WARNING), "[W] text\n");
}

TEST(LogPrefix, ShowsProcessAndThreadIds) {
  LogMessage::LogThreads(true);
  EXPECT_EQ(LineOf("f.cc", rtc::LS_INFO), "[" + std::to_string(getpid()) + ":" +
                                              std::to_string(rtc::CurrentThreadId()) +
                                              "] [I] (f.cc:42): text\n");
}

TEST(LogPrefix, ShowsElapsedTimePaddedToThreeDigits) {
  LogMessage::LogTimestamps(true);
  EXPECT_TRUE(
      Matches(LineOf("f.cc", rtc::LS_INFO), R"(\[00\d:\d\d\d\] \[I\] \(f\.cc:42\): text\n)"));
}

TEST(LogPrefix, PutsTimeBeforeIds) {
  LogMessage::LogTimestamps(true);
  LogMessage::LogThreads(true);
  EXPECT_TRUE(Matches(LineOf("f.cc", rtc::LS_ERROR),
                      R"(\[\d{3}:\d{3}\] \[\d+:\d+\] \[E\] \(f\.cc:42\): text\n)"));
}

TEST(LogPrefix, ForkedChildShowsItsOwnIds) {
  LogMessage::LogThreads(true);
  LogMessage::LogToDebug(rtc::LS_INFO);
  const std::string parent_pid = std::to_string(getpid());
  LineOf("f.cc", rtc::LS_INFO);  // Makes the parent read its own ids first.
  const ChildResult child = RunInFork([] {
    const LogCapture capture;
    LogMessage("f.cc", 42, rtc::LS_INFO).stream() << "text";
    const std::string ids = "[" + std::to_string(getpid()) + ":" +
                            std::to_string(oru_test::NumberOfThisThread()) + "] ";
    return capture.OnlyLine() == ids + "[I] (f.cc:42): text\n" ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.err;
}

TEST(LogStartTimes, StayAsFirstAsked) {
  const int64_t start = LogMessage::LogStartTime();
  const uint32_t wall = LogMessage::WallClockStartTime();
  usleep(3000);
  EXPECT_EQ(LogMessage::LogStartTime(), start);
  EXPECT_EQ(LogMessage::WallClockStartTime(), wall);
  EXPECT_LE(wall, static_cast<uint32_t>(time(nullptr)));
  EXPECT_GE(wall + 60, static_cast<uint32_t>(time(nullptr)));
}

TEST(LogStartTimes, AreBothFixedByTheFirstLineThatShowsTheTime) {
  LogMessage::LogTimestamps(true);
  LineOf("f.cc", rtc::LS_INFO);
  const auto shown_by = static_cast<uint32_t>(time(nullptr));
  const int64_t shown_by_ms = rtc::SystemTimeMillis();
  while (static_cast<uint32_t>(time(nullptr)) == shown_by) {
    usleep(10000);
  }
  EXPECT_LE(LogMessage::WallClockStartTime(), shown_by);
  EXPECT_LE(LogMessage::LogStartTime(), shown_by_ms);
}

TEST(LogError, ErrnoContextAppendsNumberAndText) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_ERROR, rtc::ERRCTX_ERRNO, ENOENT, "module", 0).stream() << "open";
  EXPECT_EQ(capture.OnlyLine(),
            std::string("[E] (f.cc:1): open : [0x00000002] ") + strerror(ENOENT) + "\n");
}

TEST(LogError, OsStatusContextAppendsThePlatformsText) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_ERROR, rtc::ERRCTX_OSSTATUS, EACCES, nullptr, 0).stream() << "x";
  EXPECT_EQ(capture.OnlyLine(),
            "[E] (f.cc:1): x : [0x0000000d] " + rtc::DescriptionFromOSStatus(EACCES) + "\n");
}

TEST(LogError, OsStatusWithoutTextIsUnknown) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_ERROR, rtc::ERRCTX_OSSTATUS, -123456, nullptr, 0).stream() << "x";
  EXPECT_EQ(capture.OnlyLine(), "[E] (f.cc:1): x : [0xfffe1dc0] Unknown error\n");
}

TEST(LogError, OtherContextPrintsTheNumberOnly) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_ERROR, static_cast<rtc::LogErrorContext>(2), 255, nullptr, 0)
          .stream()
      << "x";
  EXPECT_EQ(capture.OnlyLine(), "[E] (f.cc:1): x : [0x000000ff]\n");
}

TEST(LogError, NoContextIgnoresTheNumber) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_ERROR, rtc::ERRCTX_NONE, 5, nullptr, 0).stream() << "x";
  EXPECT_EQ(capture.OnlyLine(), "[E] (f.cc:1): x\n");
}

TEST(LogTag, IsWrittenBeforeTheText) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_INFO, std::string("audio"), 0).stream() << "x";
  EXPECT_EQ(capture.OnlyLine(), "[I] (f.cc:1): audio: x\n");
}

TEST(LogTag, SubtagIsJoinedWithAnUnderscore) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_INFO, std::string("audio"), std::string("mix"), 0).stream() << "x";
  EXPECT_EQ(capture.OnlyLine(), "[I] (f.cc:1): audio_mix: x\n");
}

TEST(LogTag, EmptySubtagLeavesTheTag) {
  const LogCapture capture;
  LogMessage("f.cc", 1, rtc::LS_INFO, std::string("audio"), std::string(), 0).stream() << "x";
  EXPECT_EQ(capture.OnlyLine(), "[I] (f.cc:1): audio: x\n");
}

TEST(BareMessage, HasNoPrefixWithoutIds) {
  LogMessage::LogTimestamps(true);
  const LogCapture capture;
  LogMessage(rtc::LS_INFO).stream() << "bare";
  EXPECT_EQ(capture.OnlyLine(), "bare\n");
}

TEST(BareMessage, ShowsTheThreadIdAloneWhenIdsAreOn) {
  LogMessage::LogThreads(true);
  const LogCapture capture;
  LogMessage(rtc::LS_INFO).stream() << "bare";
  EXPECT_EQ(capture.OnlyLine(), "[" + std::to_string(rtc::CurrentThreadId()) + "] bare\n");
}

TEST(BareMessage, MayBeEmpty) {
  const LogCapture capture;
  LogMessage message(rtc::LS_INFO);
  EXPECT_TRUE(capture.lines().empty()) << "emitted before its end";
  message.~LogMessage();
  new (&message) LogMessage(rtc::LS_NONE);
  EXPECT_EQ(capture.OnlyLine(), "\n");
}

TEST(Severity, NoneIsNeverPutOut) {
  const LogCapture capture(rtc::LS_NONE);
  LogMessage("f.cc", 1, rtc::LS_NONE).stream() << "x";
  LogMessage("f.cc", 1, static_cast<rtc::LoggingSeverity>(7)).stream() << "x";
  LogMessage("f.cc", 1, rtc::LS_ERROR).stream() << "x";
  EXPECT_TRUE(capture.lines().empty());
}

TEST(ConfigureLogging, WordsSwitchOnTimesAndIdsAndLeaveTheThreshold) {
  LogMessage::LogToDebug(rtc::LS_WARNING);
  LogMessage::ConfigureLogging("tstamp thread info debug");
  EXPECT_TRUE(LogMessage::timestamps_logged());
  EXPECT_TRUE(LogMessage::threads_logged());
  EXPECT_EQ(LogMessage::dbg_sev(), rtc::LS_WARNING);
  EXPECT_EQ(LogMessage::min_sev(), rtc::LS_WARNING);
}

TEST(ConfigureLogging, LevelWordsChangeNoThreshold) {
  for (const char* word :
       {"sensitive", "verbose", "debug", "info", "warning", "error", "none", "debug none"}) {
    LogMessage::ConfigureLogging(word);
    EXPECT_EQ(LogMessage::dbg_sev(), rtc::LS_NONE) << word;
    EXPECT_EQ(LogMessage::min_sev(), rtc::LS_NONE) << word;
  }
}

TEST(ConfigureLogging, RunsOfBlanksAndUnknownWordsAreSkipped) {
  LogMessage::ConfigureLogging("  tstamps thread2 \tthread  Thread tstamp   ");
  EXPECT_TRUE(LogMessage::timestamps_logged());
  EXPECT_FALSE(LogMessage::threads_logged());
}

TEST(ConfigureLogging, NullAndEmptyDoNothing) {
  LogMessage::ConfigureLogging(nullptr);
  LogMessage::ConfigureLogging("");
  EXPECT_FALSE(LogMessage::timestamps_logged());
  EXPECT_FALSE(LogMessage::threads_logged());
}

TEST(ALOG, SensitiveAndNoneAreDropped) {
  const LogCapture capture(rtc::LS_SENSITIVE);
  rtc::ALOG(rtc::LS_SENSITIVE, "x");
  rtc::ALOG(static_cast<rtc::LoggingSeverity>(6), "x");
  rtc::ALOG(static_cast<rtc::LoggingSeverity>(7), "x");
  rtc::ALOG(static_cast<rtc::LoggingSeverity>(-1), "x");
  EXPECT_TRUE(capture.lines().empty());
}

TEST(ALOG, NewlinesAtTheEndBecomeOneBesidesTheLinesOwn) {
  const LogCapture capture;
  rtc::ALOG(rtc::LS_INFO, "x\n\n\n");
  EXPECT_EQ(capture.OnlyLine(), "[I] (logging.cc:699): x\n\n");
}

TEST(ALOG, TextWithoutNewlineGainsOne) {
  const LogCapture capture;
  rtc::ALOG(rtc::LS_INFO, "%s-%d", "x", 7);
  EXPECT_EQ(capture.OnlyLine(), "[I] (logging.cc:699): x-7\n\n");
}

TEST(ALOG, EmptyAndAllNewlinesBecomeOneNewline) {
  const LogCapture capture;
  rtc::ALOG(rtc::LS_INFO, "%s", "");
  rtc::ALOG(rtc::LS_INFO, "\n\n");
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_EQ(capture.lines()[0], "[I] (logging.cc:699): \n\n");
  EXPECT_EQ(capture.lines()[1], "[I] (logging.cc:699): \n\n");
}

TEST(ALOG, EachSeverityHasItsSourceLine) {
  const LogCapture capture;
  for (int sev = rtc::LS_VERBOSE; sev <= rtc::LS_ERROR; ++sev) {
    rtc::ALOG(static_cast<rtc::LoggingSeverity>(sev), "x");
  }
  ASSERT_EQ(capture.lines().size(), 5u);
  EXPECT_EQ(capture.lines()[0], "[V] (logging.cc:693): x\n\n");
  EXPECT_EQ(capture.lines()[1], "[D] (logging.cc:696): x\n\n");
  EXPECT_EQ(capture.lines()[2], "[I] (logging.cc:699): x\n\n");
  EXPECT_EQ(capture.lines()[3], "[W] (logging.cc:702): x\n\n");
  EXPECT_EQ(capture.lines()[4], "[E] (logging.cc:705): x\n\n");
}

TEST(ALOG, TextThatFillsTheBufferKeeps4088Characters) {
  for (const size_t length : {4087u, 4088u, 4089u, 4090u, 10000u}) {
    const LogCapture capture;
    rtc::ALOG(rtc::LS_INFO, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(capture.OnlyLine(),
              "[I] (logging.cc:699): " + std::string(std::min<size_t>(length, 4088), 'x') + "\n\n")
        << length;
  }
}

TEST(ALOG, NewlinesAtTheCutCollapse) {
  const LogCapture capture;
  rtc::ALOG(rtc::LS_INFO, "%s", (std::string(4080, 'x') + std::string(100, '\n')).c_str());
  EXPECT_EQ(capture.OnlyLine(), "[I] (logging.cc:699): " + std::string(4080, 'x') + "\n\n");
}

TEST(ALOG, BelowTheThresholdLogsNothing) {
  const LogCapture capture(rtc::LS_WARNING);
  rtc::ALOG(rtc::LS_INFO, "x");
  EXPECT_TRUE(capture.lines().empty());
}

TEST(LogCallCost, LogsNameAndMicroseconds) {
  const LogCapture capture(rtc::LS_INFO);
  {
    const rtc::LogCallCostTime cost("Join");
    usleep(2000);
  }
  const std::string line = capture.OnlyLine();
  ASSERT_TRUE(Matches(line, R"(\[I\] \(logging\.cc:717\): Join call cost\[us\] \d+\n)")) << line;
  EXPECT_GE(std::stoi(line.substr(line.rfind(' '))), 2000);
}

TEST(LogCallCost, IsSilentWhenInfoIsNotLoggable) {
  const LogCapture capture(rtc::LS_WARNING);
  { const rtc::LogCallCostTime cost("Join"); }
  EXPECT_TRUE(capture.lines().empty());
}

TEST(LogCallCost, NullNameIsEmpty) {
  const LogCapture capture(rtc::LS_INFO);
  { const rtc::LogCallCostTime cost(nullptr); }
  EXPECT_TRUE(Matches(capture.OnlyLine(), R"(\[I\] \(logging\.cc:717\):  call cost\[us\] \d+\n)"));
}

TEST(LogToStderr, NothingReachesItWithoutSinksAndThresholdsWhateverTheDefault) {
  for (const bool by_default : {true, false}) {
    const ChildResult child = RunInFork([by_default] {
      LogMessage::SetLogToStderr(by_default);
      LogMessage("f.cc", 1, rtc::LS_ERROR).stream() << "x";
      return 0;
    });
    EXPECT_EQ(child.err, "");
  }
}

TEST(LogToStderr, BundleWithoutPreferenceWritesNothingWhateverTheDefault) {
  const auto unset = [] { return rtc::LogPreference::kUnset; };
  EXPECT_EQ(StderrWith(unset, true), "");
  EXPECT_EQ(StderrWith(unset, false), "");
}

TEST(LogToStderr, PreferenceDecidesInABundle) {
  const auto yes = [] { return rtc::LogPreference::kTrue; };
  const auto no = [] { return rtc::LogPreference::kFalse; };
  EXPECT_NE(StderrWith(yes, false), "");
  EXPECT_NE(StderrWith(yes, true), "");
  EXPECT_EQ(StderrWith(no, true), "");
}

TEST(LogToStderr, DefaultHoldsWithoutABundle) {
  const auto none = [] { return rtc::LogPreference::kNoBundle; };
  EXPECT_NE(StderrWith(none, true), "");
  EXPECT_EQ(StderrWith(none, false), "");
  EXPECT_NE(StderrWith(nullptr, true), "");
  EXPECT_NE(StderrWith(&rtc::ReadPlatformLogPreference, true), "");
}

TEST(LogToStderr, StampsTheLineWithLocalTime) {
  EXPECT_TRUE(
      Matches(StderrWith(nullptr, true),
              R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[I\] \(file\.cc:1\): shown\n)"));
}

TEST(LogToStderr, StampIsTheTimeOfTheLineInTheZoneOfTheMachine) {
  setenv("TZ", "<+05>-5", 1);
  tzset();
  const time_t before = time(nullptr);
  const ChildResult child = RunInFork([] {
    LogMessage::LogToDebug(rtc::LS_INFO);
    for (int i = 0; i < 3; ++i) {
      LogMessage(nullptr, 0, rtc::LS_INFO).stream() << i;
      usleep(15000);
    }
    return 0;
  });
  const time_t after = time(nullptr);
  std::set<std::string> milliseconds;
  for (const std::string& line : oru_test::SplitLines(child.err)) {
    std::tm local = {};
    const char* const rest = strptime(line.c_str(), "[%Y-%m-%d %H:%M:%S.", &local);
    ASSERT_NE(rest, nullptr) << line;
    const time_t moment = timegm(&local) - 5 * 3600;
    EXPECT_GE(moment, before);
    EXPECT_LE(moment, after);
    milliseconds.insert(std::string(rest, 3));
  }
  EXPECT_GT(milliseconds.size(), 1u) << child.err;
}

TEST(LogToStderr, StampFollowsAZoneThatChangesBetweenLines) {
  const ChildResult child = RunInFork([] {
    LogMessage::LogToDebug(rtc::LS_INFO);
    for (const char* const zone : {"<+05>-5", "<-03>3"}) {
      setenv("TZ", zone, 1);
      LogMessage(nullptr, 0, rtc::LS_INFO).stream() << zone;
    }
    return 0;
  });
  const std::vector<std::string> lines = oru_test::SplitLines(child.err);
  ASSERT_EQ(lines.size(), 2u) << child.err;
  time_t moments[2] = {};
  for (size_t i = 0; i < 2; ++i) {
    std::tm local = {};
    ASSERT_NE(strptime(lines[i].c_str(), "[%Y-%m-%d %H:%M:%S.", &local), nullptr) << lines[i];
    moments[i] = timegm(&local);
  }
  EXPECT_NEAR(static_cast<double>(moments[0] - moments[1]), 8 * 3600, 60) << child.err;
}

TEST(LogToStderr, ThresholdKeepsLowerSeveritiesAway) {
  const ChildResult child = RunInFork([] {
    LogMessage::LogToDebug(rtc::LS_WARNING);
    LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "low";
    LogMessage(nullptr, 0, rtc::LS_WARNING).stream() << "high";
    return 0;
  });
  EXPECT_EQ(child.err.find("low"), std::string::npos);
  EXPECT_NE(child.err.find("[W] high\n"), std::string::npos);
}

TEST(LogMacros, DisabledLevelEvaluatesNothing) {
  int evaluated = 0;
  ORU_LOG(LS_ERROR) << ++evaluated;
  ORU_LOG_TAG(LS_ERROR, std::to_string(++evaluated)) << "x";
  ORU_LOG_ERRNO_EX(LS_ERROR, ++evaluated) << "x";
  EXPECT_EQ(evaluated, 0);
}

TEST(LogMacros, NameTheSourceFile) {
  const LogCapture capture;
  const int line = __LINE__ + 1;
  ORU_LOG(LS_INFO) << "n=" << 3;
  EXPECT_EQ(capture.OnlyLine(), "[I] (logging_test.cc:" + std::to_string(line) + "): n=3\n");
}

TEST(LogMacros, TakeTheirFormsOfPrefix) {
  const LogCapture capture;
  ORU_LOG_V(rtc::LS_WARNING) << "v";
  ORU_LOG_F(LS_INFO) << "f";
  ORU_LOG_TAG(LS_INFO, "tag") << "t";
  ORU_LOG_TAG_SUB(LS_INFO, "tag", "sub") << "s";
  const char* const patterns[] = {R"(\[W\] \(\S+: v\n)", R"(\[I\] \(\S+: TestBody: f\n)",
                                  R"(\[I\] \(\S+: tag: t\n)", R"(\[I\] \(\S+: tag_sub: s\n)"};
  ASSERT_EQ(capture.lines().size(), std::size(patterns));
  for (size_t i = 0; i < std::size(patterns); ++i) {
    EXPECT_TRUE(Matches(capture.lines()[i], patterns[i])) << capture.lines()[i];
  }
}

TEST(LogMacros, ErrnoFormsExplainTheError) {
  const LogCapture capture;
  errno = ENOENT;
  ORU_LOG_ERRNO(LS_ERROR) << "a";
  ORU_LOG_ERRNO_EX(LS_ERROR, EPERM) << "b";
  ORU_LOG_OSSTATUS(LS_ERROR, -123456) << "c";
  ASSERT_EQ(capture.lines().size(), 3u);
  EXPECT_NE(capture.lines()[0].find(std::string(": a : [0x00000002] ") + strerror(ENOENT) + "\n"),
            std::string::npos);
  EXPECT_NE(capture.lines()[1].find(std::string(": b : [0x00000001] ") + strerror(EPERM) + "\n"),
            std::string::npos);
  EXPECT_NE(capture.lines()[2].find(": c : [0xfffe1dc0] Unknown error\n"), std::string::npos);
}

TEST(LogMacros, StandAsOneStatement) {
  const LogCapture capture;
  if (capture.lines().empty())
    ORU_LOG(LS_INFO) << "then";
  else
    ORU_LOG(LS_INFO) << "else";
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_NE(capture.lines()[0].find("then"), std::string::npos);
}

TEST(LogMacros, BindAsOneExpression) {
  const LogCapture capture;
  const bool yes = getpid() != 0;
  const bool no = !yes;
  no&& ORU_LOG(LS_INFO) << "not " << 1;
  no&& ORU_LOG_V(rtc::LS_INFO) << "not " << 2;
  no&& ORU_LOG_TAG(LS_INFO, "tag") << "not " << 3;
  yes || (ORU_LOG(LS_INFO) << "not " << 4);
  yes&& ORU_LOG(LS_INFO) << "one";
  no || (ORU_LOG(LS_INFO) << "two");
  yes ? ORU_LOG(LS_INFO) << "three" : ORU_LOG(LS_INFO) << "not " << 5;
  std::string texts;
  for (const std::string& line : capture.lines()) texts += line.substr(line.find("): ") + 3);
  EXPECT_EQ(texts, "one\ntwo\nthree\n");
}

TEST(LogMacros, SeverityIsEvaluatedOnce) {
  const LogCapture capture(rtc::LS_INFO);
  int evaluated = 0;
  const auto severity = [&evaluated](rtc::LoggingSeverity sev) {
    ++evaluated;
    return sev;
  };
  ORU_LOG_V(severity(rtc::LS_WARNING)) << "text";
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(capture.OnlyLine().substr(0, 4), "[W] ");
  ORU_LOG_V(severity(rtc::LS_DEBUG)) << "text";
  EXPECT_EQ(evaluated, 2);
  EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(LogMacros, SeverityMayLogItself) {
  const LogCapture capture(rtc::LS_INFO);
  const auto severity = [] {
    ORU_LOG_V(rtc::LS_ERROR) << "inner";
    return rtc::LS_WARNING;
  };
  ORU_LOG_V(severity()) << "outer";
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_EQ(capture.lines()[0].substr(0, 4), "[E] ");
  EXPECT_EQ(capture.lines()[1].substr(0, 4), "[W] ");
}

TEST(LogMacros, CallCostTakesTheScope) {
  const LogCapture capture;
  {
    ORU_LOG_CALL_COST("Scope");
    EXPECT_TRUE(capture.lines().empty());
  }
  EXPECT_NE(capture.OnlyLine().find("Scope call cost[us] "), std::string::npos);
}

TEST(LogMacros, CheckLevelTellsWhetherAnOutputMightTakeIt) {
  EXPECT_FALSE(ORU_LOG_CHECK_LEVEL(LS_ERROR));
  const LogCapture capture(rtc::LS_WARNING);
  EXPECT_TRUE(ORU_LOG_CHECK_LEVEL(LS_WARNING));
  EXPECT_FALSE(ORU_LOG_CHECK_LEVEL(LS_INFO));
}

TEST(Labels, FirstMatchIsFound) {
  const rtc::ConstantLabel table[] = {{1, "one"}, {2, "two"}, {1, "uno"}, {0, nullptr}};
  EXPECT_STREQ(rtc::FindLabel(1, table), "one");
  EXPECT_STREQ(rtc::FindLabel(2, table), "two");
  EXPECT_EQ(rtc::FindLabel(3, table), nullptr);
  EXPECT_EQ(rtc::FindLabel(0, table), nullptr) << "the end of the table is no row";
  EXPECT_EQ(rtc::FindLabel(1, nullptr), nullptr);
}

TEST(Labels, ErrorNameFallsBackToEightHexDigits) {
  const rtc::ConstantLabel table[] = {{0, "zero"}, {7, "seven"}, {0, nullptr}};
  EXPECT_EQ(rtc::ErrorName(0, table), "No error");
  EXPECT_EQ(rtc::ErrorName(7, table), "seven");
  EXPECT_EQ(rtc::ErrorName(0xab, table), "0x000000ab");
  EXPECT_EQ(rtc::ErrorName(-1, nullptr), "0xffffffff");
}

TEST(ProcessFacts, ProcessIdAndMillisecondsAreTheSystems) {
  EXPECT_EQ(rtc::CurrentProcessId(), getpid());
  EXPECT_EQ(rtc::CurrentProcessId(), getpid());
  timeval before = {};
  gettimeofday(&before, nullptr);
  const int64_t now = rtc::get_time_ms_c();
  EXPECT_GE(now, static_cast<int64_t>(before.tv_sec) * 1000 + before.tv_usec / 1000);
  EXPECT_LE(now, static_cast<int64_t>(before.tv_sec) * 1000 + before.tv_usec / 1000 + 60000);
}

}  // namespace
