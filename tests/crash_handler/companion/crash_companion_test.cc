// The companion that a crashed process leaves beside its report.
#include "media_core/biz_engine/crash_handler/crash_companion.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/crash_matrix/crash_scenario_test.h"
#include "tests/support/companion_file.h"

namespace oru_test {
namespace {

bool EndsIn(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

class CrashCompanionTest : public CrashScenarioTest {
 protected:
  ChildResult Crash(const std::string& scenario, std::vector<std::string> options = {},
                    int deadline_ms = kRealDeadlineMs) {
    options.emplace_back("--companions");
    return Run(scenario, deadline_ms, options);
  }
  std::vector<std::string> FilesEndingIn(const std::string& ending) {
    std::vector<std::string> found;
    for (const std::string& name : Files()) {
      if (EndsIn(name, ending)) found.push_back(name);
    }
    return found;
  }
  // A whole report and a whole companion of its name, and nothing else.
  CompanionText OnlyCompanion() {
    const auto files = Files();
    EXPECT_EQ(files.size(), 2U);
    if (files.size() != 2) return {};
    EXPECT_EQ(files[0].substr(0, files[0].size() - 5), files[1].substr(0, files[1].size() - 4));
    ExpectWholeReport(files[1]);
    return Companion(files[0]);
  }
  void ExpectWholeReport(const std::string& name) {
    EXPECT_TRUE(EndsIn(name, ".log")) << name;
    EXPECT_EQ(ParseCrashReport(ReadFile(dir_.Join("dumps/" + name))).error, "");
  }
  CompanionText Companion(const std::string& name) {
    EXPECT_TRUE(EndsIn(name, ".json")) << name;
    CompanionText companion = ParseCompanion(ReadFile(dir_.Join("dumps/" + name)));
    EXPECT_EQ(companion.error, "");
    return companion;
  }
  CompanionText CompanionOf(const std::string& scenario, std::vector<std::string> options = {},
                            int deadline_ms = kRealDeadlineMs) {
    Crash(scenario, std::move(options), deadline_ms);
    return OnlyCompanion();
  }
};

TEST_F(CrashCompanionTest, WithoutBeingAskedForThereIsNone) {
  Run("WriteToNull");
  ExpectOneWholeReport();
}

TEST_F(CrashCompanionTest, OnceStoppedThereIsNone) {
  Crash("CompanionsAreStopped");
  ExpectOneWholeReport();
}

TEST_F(CrashCompanionTest, AWriteToNullIsToldWithItsRegisters) {
  const CompanionText companion = CompanionOf("WriteToNull", {"--worker"});
  EXPECT_EQ(companion.Value("companion", "schema"), "1");
  EXPECT_EQ(companion.Value("companion", "verdict"), "sdk");
  EXPECT_EQ(companion.Value("companion", "way"), "ordinary");
  EXPECT_TRUE(EndsIn(FilesEndingIn(".log")[0], "/" + companion.Value("companion", "report")));
  EXPECT_EQ(companion.Value("crash", "kind"), "Signal");
  EXPECT_EQ(companion.Value("crash", "signal"), "11");
  EXPECT_EQ(companion.Value("crash", "signal_name"), "SIGSEGV");
  EXPECT_EQ(companion.Value("crash", "code_name"), "SEGV_MAPERR");
  EXPECT_EQ(companion.Value("crash", "access"), "write");
  EXPECT_EQ(companion.Value("crash", "address"), "0x0");
  EXPECT_FALSE(companion.Has("exception"));
  const auto report = ParseCrashReport(ReadFile(dir_.Join("dumps/" + FilesEndingIn(".log")[0])));
  EXPECT_EQ(companion.Value("crash", "thread"), std::to_string(report.crash_thread));
#if defined(__x86_64__)
  const std::string instruction = companion.Value("registers", "values.rip");
  EXPECT_EQ(companion.All("registers")[0]->Find("values")->names.size(), 17U);
#else
  const std::string instruction = companion.Value("registers", "values.pc");
#endif
  const auto& frames = report.crash_frames;
  EXPECT_TRUE(std::any_of(frames.begin(), frames.end(), [&](const auto& frame) {
    return frame.find(instruction.substr(2)) != std::string::npos;
  })) << instruction;
}

TEST_F(CrashCompanionTest, ProcessSystemAndMemoryAreToldInTheirUnits) {
  const CompanionText companion = CompanionOf("WriteToNull", {"--worker"});
  EXPECT_EQ(companion.Value("process", "app"), "A");
  EXPECT_EQ(companion.Value("process", "session"), "S");
  EXPECT_EQ(companion.Value("process", "sdk"), "1.0");
  EXPECT_EQ(companion.Value("process", "name"), "crash_scenario_child");
  EXPECT_EQ(companion.Value("process", "executable"), crash_test::ScenarioChild());
  EXPECT_LT(std::stoull(companion.Value("process", "uptime_ms")), 60000U);
  EXPECT_GT(std::stoull(companion.Value("system", "uptime_ms")), 1000U);
  EXPECT_EQ(companion.Value("system", "processors"), std::to_string(sysconf(_SC_NPROCESSORS_ONLN)));
  EXPECT_NE(companion.Value("system", "name"), "");
  EXPECT_NE(companion.Value("system", "release"), "");
  const auto bytes = [&](const char* name) { return std::stoull(companion.Value("memory", name)); };
  const auto machine = static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES) * sysconf(_SC_PAGESIZE));
  EXPECT_EQ(bytes("machine") >> 20, machine >> 20);
  EXPECT_LE(bytes("available"), bytes("machine"));
  EXPECT_GT(bytes("resident"), 1U << 20);
  EXPECT_GE(bytes("peak"), bytes("resident"));
  EXPECT_GT(bytes("reserved"), bytes("resident"));
}

TEST_F(CrashCompanionTest, ThreadsAreNamedAndOneOfThemCrashed) {
  const CompanionText companion = CompanionOf("WriteToNull", {"--worker"});
  ASSERT_EQ(companion.All("thread").size(), 2U);
  int crashed = 0;
  for (const auto* thread : companion.All("thread")) {
    if (thread->Find("crashed")->text != "true") continue;
    ++crashed;
    EXPECT_EQ(thread->Find("name")->text, "worker");
    EXPECT_EQ(thread->Find("number")->text, companion.Value("crash", "thread"));
  }
  EXPECT_EQ(crashed, 1);
}

TEST_F(CrashCompanionTest, NotesAndLogLinesAreTheHosts) {
  const CompanionText companion = CompanionOf("NotesAreSetInTheCallback");
  ASSERT_EQ(companion.All("note").size(), 2U);
  EXPECT_EQ(companion.Value("note", "key"), "scenario");
  EXPECT_EQ(companion.Value("note", "value"), "a note of the host");
  EXPECT_EQ(companion.All("note")[1]->Find("value")->text, "was here");
  ASSERT_EQ(companion.All("log").size(), 3U);
  EXPECT_EQ(companion.Value("log", "number"), "7");
  EXPECT_EQ(companion.Value("log", "text"), "a line of the log");
}

TEST_F(CrashCompanionTest, AllNotesThatThereCanBeAreThere) {
  const CompanionText companion = CompanionOf("NotesAreMany");
  ASSERT_EQ(companion.All("note").size(), CrashHandler::kMaxCrashNotes);
  const std::string value(CrashHandler::kMaxCrashNoteValueBytes, '\x01');
  EXPECT_EQ(companion.All("note").back()->Find("value")->text, value);
}

enum class Address { kNone, kNull, kInstruction };

struct Cause {
  const char* scenario;
  const char* signal_name;
  const char* code_name;
  const char* access;
  Address address;
};

class CauseTest : public CrashCompanionTest, public testing::WithParamInterface<Cause> {};

TEST_P(CauseTest, IsToldAsFarAsTheProcessorTellsIt) {
  const CompanionText companion = CompanionOf(GetParam().scenario);
  EXPECT_EQ(companion.Value("crash", "signal_name"), GetParam().signal_name);
  EXPECT_EQ(companion.Value("crash", "code_name"), GetParam().code_name);
  EXPECT_EQ(companion.Value("crash", "access"), GetParam().access);
  EXPECT_NE(companion.Value("registers", "cpu"), "");
  const std::string address = companion.Value("crash", "address");
  if (GetParam().address == Address::kNone) EXPECT_EQ(address, "null");
  if (GetParam().address == Address::kNull) EXPECT_EQ(address, "0x0");
#if defined(__x86_64__)
  if (GetParam().address == Address::kInstruction) {
    EXPECT_EQ(address, companion.Value("registers", "values.rip"));
  }
#endif
}

constexpr Cause kCauses[] = {
    {"ReadNull", "SIGSEGV", "SEGV_MAPERR", "read", Address::kNull},
    {"ExecuteData", "SIGSEGV", "SEGV_ACCERR", "execute", Address::kInstruction},
    {"WriteToANonCanonicalAddress", "SIGSEGV", "SI_KERNEL", "null", Address::kNone},
    {"DivideByZero", "SIGFPE", "FPE_INTDIV", "null", Address::kInstruction},
    {"RaiseSegv", "SIGSEGV", "SI_TKILL", "null", Address::kNone},
};

INSTANTIATE_TEST_SUITE_P(Causes, CauseTest, testing::ValuesIn(kCauses),
                         [](const auto& info) { return std::string(info.param.scenario); });

TEST_F(CrashCompanionTest, WhatAnotherReporterDoesNotTellIsNotMadeUp) {
  const CompanionText companion = CompanionOf("ReportByInvitationWithoutInformation");
  EXPECT_EQ(companion.Value("crash", "signal_name"), "SIGBUS");
  EXPECT_EQ(companion.Value("crash", "code"), "null");
  EXPECT_EQ(companion.Value("crash", "code_name"), "null");
  EXPECT_EQ(companion.Value("crash", "address"), "null");
  EXPECT_FALSE(companion.Has("registers"));
}

struct Thrown {
  const char* scenario;
  const char* type;
  const char* words;
};

class ThrownExceptionTest : public CrashCompanionTest,
                            public testing::WithParamInterface<Thrown> {};

TEST_P(ThrownExceptionTest, IsToldWithItsTypeAndItsWords) {
  const CompanionText companion = CompanionOf(GetParam().scenario);
  EXPECT_EQ(companion.Value("exception", "language"), "C++");
  EXPECT_EQ(companion.Value("exception", "name"), GetParam().type);
  EXPECT_EQ(companion.Value("exception", "reason"), GetParam().words);
}

constexpr Thrown kThrown[] = {
    {"ThrowUncaught", "St13runtime_error", "nobody catches this"},
    {"RethrowStoredException", "St13runtime_error", "nobody catches this"},
    {"ThrowOutOfNoexcept", "St13runtime_error", "nobody catches this"},
    {"AbortWhileHandling", "St11logic_error", "being handled"},
    {"ThrowOneOfManyBases", "N10crash_test12_GLOBAL__N_19ManyBasesE", "from a virtual base"},
    {"ThrowHostileWords", "St13runtime_error", "quote \" line\n end \x1b \xC3\xBF ~"},
    {"ThrowWhatIsNoText", "N10crash_test12_GLOBAL__N_15WrongE", ""},
    {"ThrowANumber", "i", ""},
};

INSTANTIATE_TEST_SUITE_P(Exceptions, ThrownExceptionTest, testing::ValuesIn(kThrown),
                         [](const auto& info) { return std::string(info.param.scenario); });

TEST_F(CrashCompanionTest, LongWordsAreCut) {
  EXPECT_EQ(CompanionOf("ThrowLongWords").Value("exception", "reason"), std::string(1023, 'w'));
}

TEST_F(CrashCompanionTest, AnObjectiveCExceptionIsToldWithItsReason) {
  const CompanionText companion = CompanionOf("RaiseUncaught");
  EXPECT_EQ(companion.Value("crash", "kind"), "Exception");
  EXPECT_EQ(companion.Value("crash", "signal"), "null");
  EXPECT_EQ(companion.Value("exception", "language"), "Objective-C");
  EXPECT_EQ(companion.Value("exception", "name"), "MatrixException");
  EXPECT_EQ(companion.Value("exception", "reason"), "raised once");
}

TEST_F(CrashCompanionTest, ARescuedReportHasTheSameCompanion) {
  const CompanionText companion =
      CompanionOf("CallbackNeverReturns", {"--worker"}, kShortDeadlineMs);
  EXPECT_EQ(companion.Value("companion", "way"), "rescued");
  EXPECT_EQ(companion.Value("crash", "access"), "write");
  EXPECT_TRUE(companion.Has("registers"));
  EXPECT_EQ(companion.All("log").size(), 3U);
  EXPECT_EQ(companion.All("thread").size(), 2U);
}

TEST_F(CrashCompanionTest, AProcessWithoutMemoryLeavesOne) {
  const CompanionText companion = CompanionOf("FaultWithoutMemory");
  EXPECT_EQ(companion.All("log").size(), 3U);
  EXPECT_TRUE(companion.Has("thread"));
}

// ---- What is wrong with the host's part ----

TEST_F(CrashCompanionTest, AReportDoesNotNeedALogSourceThatWorks) {
  for (const char* scenario : {"LogSourceFaults", "LogSourceThrows"}) {
    Crash(scenario);
    ExpectOneWholeReport();
    RemoveAll(dir_.Join("dumps"));
  }
}

TEST_F(CrashCompanionTest, AReportWhoseLogSourceHangsComesInTime) {
  const ChildResult result = Crash("LogSourceHangs", {}, kShortDeadlineMs);
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_LT(result.wall_s * 1000, kRealDeadlineMs);
  ExpectOneWholeReport();
}

TEST_F(CrashCompanionTest, ALogSourceWithoutAnEndGivesTwoHundredLines) {
  const CompanionText companion = CompanionOf("LogSourceHasNoEnd");
  EXPECT_EQ(companion.All("log").size(), 200U);
  EXPECT_EQ(companion.Value("log", "text").size(), 1024U);
}

TEST_F(CrashCompanionTest, ALogSourceThatIsGoneGivesNoLines) {
  for (const char* scenario : {"LogSourceIsGone", "LogSourceIsForgotten"}) {
    EXPECT_FALSE(CompanionOf(scenario).Has("log")) << scenario;
    RemoveAll(dir_.Join("dumps"));
  }
}

TEST_F(CrashCompanionTest, WordsThatFaultOrAbortCostNoReport) {
  for (const char* scenario : {"ThrowWhatFaults", "ThrowWhatAborts"}) {
    const CompanionText companion = CompanionOf(scenario);
    EXPECT_EQ(companion.Value("companion", "way"), "rescued") << scenario;
    EXPECT_EQ(companion.Value("exception", "name"), "N10crash_test12_GLOBAL__N_15WrongE");
    EXPECT_EQ(companion.Value("exception", "reason"), "null");
    RemoveAll(dir_.Join("dumps"));
  }
}

TEST_F(CrashCompanionTest, WordsThatHangCostNoReport) {
  const CompanionText companion = CompanionOf("ThrowWhatHangs", {}, kShortDeadlineMs);
  EXPECT_EQ(companion.Value("companion", "way"), "rescued");
}

// ---- Places ----

TEST_F(CrashCompanionTest, WithRoomForTheReportAloneThereIsNone) {
  Crash("LongLogAtALimitOfFileSizes");
  ExpectOneWholeReport();
}

TEST_F(CrashCompanionTest, WithoutRoomForTheReportThereIsNeither) {
  Crash("FaultAtTheLimitOfFileSizes");
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashCompanionTest, FiftyCrashesAtOnceInOneFolderLeaveFiftyPairs) {
  constexpr int kCrashes = 50;
  std::vector<std::thread> crashes;
  for (int i = 0; i < kCrashes; ++i) {
    crashes.emplace_back([this, i] {
      Crash("WriteToNull", {"--session-id", "S" + std::to_string(i)}, 60000);
    });
  }
  for (std::thread& crash : crashes) crash.join();
  EXPECT_EQ(Files().size(), 2U * kCrashes);
  const auto companions = FilesEndingIn(".json");
  ASSERT_EQ(companions.size(), size_t{kCrashes});
  for (const std::string& name : companions) {
    const CompanionText companion = Companion(name);
    const std::string report = name.substr(0, name.size() - 5) + ".log";
    ExpectWholeReport(report);
    EXPECT_NE(name.find("Crash_A_" + companion.Value("process", "session") + "_Signal_"),
              std::string::npos);
  }
}

// ---- Crashes of the host ----

class HostCrashTest : public CrashCompanionTest {
 protected:
  CompanionText Of(const std::string& scenario, int deadline_ms = kRealDeadlineMs) {
    Run(scenario, deadline_ms, {"--outside-sdk", "--host-companions"});
    EXPECT_EQ(Files().size(), 1U);
    if (Files().size() != 1) return {};
    EXPECT_EQ(Files()[0].rfind("1.0/HostCrash_A_S_", 0), 0U) << Files()[0];
    return Companion(Files()[0]);
  }
};

TEST_F(HostCrashTest, LeavesNothingUnlessAskedFor) {
  Crash("WriteToNull", {"--outside-sdk"});
  EXPECT_TRUE(Files().empty());
}

TEST_F(HostCrashTest, IsNamedWithoutWhatTellsOfTheHost) {
  const CompanionText companion = Of("WriteToNull");
  EXPECT_EQ(companion.Value("companion", "verdict"), "host");
  EXPECT_EQ(companion.Value("companion", "report"), "null");
  EXPECT_EQ(companion.Value("crash", "signal_name"), "SIGSEGV");
  EXPECT_EQ(companion.Value("crash", "access"), "write");
  EXPECT_EQ(companion.Value("crash", "address"), "null");
  EXPECT_EQ(companion.Value("process", "app"), "A");
  EXPECT_EQ(companion.Value("process", "executable"), "null");
  EXPECT_EQ(companion.Value("process", "name"), "null");
  EXPECT_TRUE(companion.Has("system"));
  EXPECT_TRUE(companion.Has("memory"));
  for (const char* type : {"registers", "exception", "note", "thread", "log"}) {
    EXPECT_FALSE(companion.Has(type)) << type;
  }
}

TEST_F(HostCrashTest, OfAnExceptionIsNamedToo) {
  EXPECT_EQ(Of("RaiseUncaught").Value("crash", "kind"), "Exception");
}

TEST_F(HostCrashTest, OfAHungCallbackIsNamedToo) {
  EXPECT_EQ(Of("CallbackNeverReturns", kShortDeadlineMs).Value("companion", "verdict"), "host");
}

TEST_F(HostCrashTest, OfTheSdkHasItsReport) {
  Run("WriteToNull", kRealDeadlineMs, {"--host-companions"});
  EXPECT_EQ(OnlyCompanion().Value("companion", "verdict"), "sdk");
}

}  // namespace
}  // namespace oru_test
