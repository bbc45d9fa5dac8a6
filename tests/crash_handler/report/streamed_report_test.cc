#include "media_core/biz_engine/crash_handler/report/streamed_report.h"

#include <execinfo.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>

#include <atomic>
#include <thread>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_reserve.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "tests/support/child_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace {

void* sFrames[128];
int sFrameCount = 0;

// The innermost frame, which does not count.
__attribute__((noinline)) int Capture() {
  sFrameCount = backtrace(sFrames, 128);
  return sFrameCount;
}

}  // namespace

// What the filter finds.
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCStreamedTestFrame() {
  return Capture() + 1;
}

// As the module's own methods are named.
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCCrashReportTestFrame() {
  return Capture() + 1;
}

namespace CrashHandler {
namespace {

using oru_test::CrashReportText;
using oru_test::TempDir;
using Texts = std::vector<std::string>;

// 2024-03-05 07:08:09.042 in UTC.
constexpr timespec kMoment = {1709622489, 42000000};

class StreamedReportTest : public testing::Test {
 protected:
  void SetUp() override {
    // Two hours east of UTC.
    setenv("TZ", "XYZ-2", 1);
    tzset();
    PrepareStreamedReport("Test App");
    OruRTCStreamedTestFrame();
    dump_dir_ = dir_.Join("dumps");
    crash_.time = kMoment;
    settings_.dump_dir = dump_dir_;
    settings_.app_id = "A1";
    settings_.session_id = "S1";
    settings_.sdk_version = "6.1.0";
    settings_.extra_info = "build 42\nand more";
    crash_.frames = sFrames;
    crash_.frame_count = static_cast<size_t>(sFrameCount);
    crash_.thread = machine::CurrentThreadNumber();
  }
  Texts Files() { return oru_test::ListFilesRecursively(dir_.path()); }
  CrashReportText Written() {
    ReportPath path = "";
    EXPECT_TRUE(WriteStreamedReport(crash_, settings_, path));
    EXPECT_EQ(Files().size(), 1U);
    CrashReportText report = oru_test::ParseCrashReport(oru_test::ReadFile(path));
    EXPECT_EQ(report.error, "");
    return report;
  }

  TempDir dir_;
  std::string dump_dir_;
  CrashFacts crash_;
  CrashSettings settings_;
};

TEST_F(StreamedReportTest, HasTheOrdinaryReportsNameInTheZoneOfTheInstallation) {
  Written();
  EXPECT_EQ(Files(), Texts{"dumps/6.1.0/Crash_A1_S1_Signal_2024-03-05-09-08-09.log"});
}

TEST_F(StreamedReportTest, KindsAreNamedAsInTheOrdinaryReport) {
  const std::pair<CrashType, const char*> kinds[] = {{Signal, "Signal"},
                                                     {Exception, "Exception"},
                                                     {MemoryError, "MemoryError"},
                                                     {Terminate, "MemoryError"}};
  for (const auto& [kind, word] : kinds) {
    ReportPath path = "";
    crash_.kind = kind;
    EXPECT_TRUE(WriteStreamedReport(crash_, settings_, path));
    EXPECT_EQ(path, dump_dir_ + "/6.1.0/Crash_A1_S1_" + word + "_2024-03-05-09-08-09.log");
  }
}

TEST_F(StreamedReportTest, HasAllSections) {
  const CrashReportText report = Written();
  char machine_name[256];
  machine::MachineName(machine_name, sizeof machine_name);
  EXPECT_EQ(report.hardware_model, machine_name);
  EXPECT_EQ(report.process, "Test App");
  EXPECT_EQ(report.path, dump_dir_);
  EXPECT_EQ(report.code_type, machine::HostCpuTypeName());
  EXPECT_EQ(report.date_time, "2024-03-05 09:08:09 042");
  EXPECT_EQ(report.crash_thread, static_cast<int32_t>(machine::CurrentThreadNumber()));
  EXPECT_FALSE(report.exception.has_value());
  EXPECT_EQ(report.crash_frames.size(), crash_.frame_count);
  EXPECT_TRUE(report.AnyContains(report.crash_frames, "(OruRTCStreamedTestFrame+0x"));
  EXPECT_NE(report.FindThread(machine::CurrentThreadNumber()), nullptr);
  EXPECT_GT(report.images.size(), 3U);
  EXPECT_EQ(report.custom_info, "build 42\nand more");
}

TEST_F(StreamedReportTest, AnExceptionHasItsSection) {
  crash_.exception_name = "SomeException";
  crash_.exception_reason = "its reason";
  EXPECT_EQ(Written().exception,
            "*** Terminating app due to uncaught exception 'SomeException', reason: 'its reason'");
}

TEST_F(StreamedReportTest, ANilReasonIsShownAsFoundationShowsIt) {
  crash_.exception_name = "SomeException";
  EXPECT_EQ(Written().exception,
            "*** Terminating app due to uncaught exception 'SomeException', reason: '(null)'");
}

TEST_F(StreamedReportTest, ACrashOutsideTheSdkLeavesNoFile) {
  ReportPath path = "";
  for (void*& frame : sFrames) frame = nullptr;
  EXPECT_FALSE(WriteStreamedReport(crash_, settings_, path));
  EXPECT_TRUE(Files().empty());
}

TEST_F(StreamedReportTest, TheModulesOwnFramesDoNotCount) {
  ReportPath path = "";
  OruRTCCrashReportTestFrame();
  crash_.frame_count = static_cast<size_t>(sFrameCount);
  EXPECT_FALSE(WriteStreamedReport(crash_, settings_, path));
  EXPECT_TRUE(Files().empty());
}

TEST_F(StreamedReportTest, TheInnermostFrameDoesNotCount) {
  ReportPath path = "";
  void* const only = reinterpret_cast<char*>(&OruRTCStreamedTestFrame) + 1;
  crash_.frames = &only;
  crash_.frame_count = 1;
  EXPECT_FALSE(WriteStreamedReport(crash_, settings_, path));
}

TEST_F(StreamedReportTest, BytesThatAreNotUtf8AreTakenAsLatin1) {
  settings_.app_id = "A\xe9";
  settings_.session_id = "S\xc3\xa9";
  settings_.extra_info = "\xff and \xed\xa0\x80 and \xc0\x80";
  const CrashReportText report = Written();
  EXPECT_EQ(Files(), Texts{"dumps/6.1.0/Crash_A\xc3\xa9_S\xc3\xa9_Signal_2024-03-05-09-08-09.log"});
  EXPECT_EQ(report.custom_info, "\xc3\xbf and \xc3\xad\xc2\xa0\xc2\x80 and \xc3\x80\xc2\x80");
}

TEST_F(StreamedReportTest, WithoutAVersionItLiesInTheDirectoryItself) {
  settings_.sdk_version = "";
  Written();
  EXPECT_EQ(Files(), Texts{"dumps/Crash_A1_S1_Signal_2024-03-05-09-08-09.log"});
}

TEST_F(StreamedReportTest, APathBeyondAllBoundsIsRefused) {
  ReportPath path = "";
  const std::string app(10000, 'a');
  settings_.app_id = app;
  EXPECT_FALSE(WriteStreamedReport(crash_, settings_, path));
  const std::string version(10000, 'v');
  settings_.sdk_version = version;
  EXPECT_FALSE(WriteStreamedReport(crash_, settings_, path));
  EXPECT_TRUE(Files().empty());
}

TEST_F(StreamedReportTest, ADraftHasAllButTheOtherThreads) {
  const std::string path = dir_.Join("draft.log");
  crash_.exception_name = "SomeException";
  ASSERT_TRUE(WriteDraft(crash_, settings_, path.c_str()));
  EXPECT_EQ(Files(), (Texts{"draft.log"}));
  const CrashReportText report = oru_test::ParseCrashReport(oru_test::ReadFile(path));
  EXPECT_EQ(report.error, "");
  EXPECT_EQ(report.path, dump_dir_);
  EXPECT_TRUE(report.exception.has_value());
  EXPECT_TRUE(report.AnyContains(report.crash_frames, "(OruRTCStreamedTestFrame+0x"));
  ASSERT_EQ(report.threads.size(), 1U);
  EXPECT_EQ(report.threads[0].number, crash_.thread);
  EXPECT_TRUE(report.AnyContains(report.threads[0].frames, "OruRTCStreamedTestFrame"));
  EXPECT_EQ(report.thread_failures, Texts{"Fail to get information of all threads"});
  EXPECT_GT(report.images.size(), 3U);
  EXPECT_EQ(report.custom_info, "build 42\nand more");
}

TEST_F(StreamedReportTest, ADraftThatCannotBeWrittenIsNone) {
  EXPECT_FALSE(WriteDraft(crash_, settings_, dir_.Join("none/draft.log").c_str()));
  EXPECT_TRUE(Files().empty());
}

// With the process's own handler, whose settings a rescued report has.
class CrashRescueTest : public StreamedReportTest {
 protected:
  void SetUp() override {
    StreamedReportTest::SetUp();
    setenv("HOME", dir_.path().c_str(), 1);
    CrashTraceInfo info{"A2", "S2", "7.0", "of the host"};
    DarwinCrashHandler::GetInstance()->SetTraceInfo(info);
    DarwinCrashHandler::GetInstance()->SetCrashDumpDirPath(dump_dir_.c_str());
  }
  void TearDown() override { GiveCrashBack(); }
  static void BeginReport() {
    EXPECT_TRUE(TakeCrash());
    BeginCrashReport(SIGABRT, Signal);
  }
  static void Crash() {
    BeginReport();
    RememberEntry(sFrames, sFrameCount);
    ReportIsDue();
  }
};

TEST_F(CrashRescueTest, NothingIsDueAtTheStart) {
  EXPECT_FALSE(RescueReport());
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashRescueTest, ADueReportIsRescuedOnceWithTheSettings) {
  Crash();
  EXPECT_TRUE(RescueReport());
  EXPECT_FALSE(RescueReport());
  ASSERT_EQ(Files().size(), 1U);
  EXPECT_EQ(Files()[0].find("dumps/7.0/Crash_A2_S2_Signal_"), 0U);
  const auto report = oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join(Files()[0])));
  EXPECT_EQ(report.error, "");
  EXPECT_EQ(report.custom_info, "of the host");
}

TEST_F(CrashRescueTest, WithoutFramesTheStackIsTakenWhereItIs) {
  BeginReport();
  EXPECT_TRUE(RescueReport());
  // The test's own stack does not concern the SDK.
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashRescueTest, ADirectoryThatCannotBeMadeIsReplacedByTheDefault) {
  DarwinCrashHandler::GetInstance()->SetCrashDumpDirPath(dir_.Join("two/levels").c_str());
  Crash();
  EXPECT_TRUE(RescueReport());
  ASSERT_EQ(Files().size(), 1U);
  EXPECT_EQ(Files()[0].find("Library/Caches/Oru_RTC_Crash/7.0/Crash_A2_S2_Signal_"), 0U);
}

TEST_F(CrashRescueTest, AFileUnderWayOrWrittenIsNotRescued) {
  Crash();
  BeginReportFile();
  EXPECT_FALSE(RescueReport());
  EndReportFile("somewhere");
  EXPECT_FALSE(RescueReport());
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashRescueTest, AForgottenReportIsNotRescued) {
  Crash();
  ForgetReport();
  EXPECT_FALSE(RescueReport());
}

TEST_F(CrashRescueTest, TheOrdinaryReportTakesTheRescuedOnesPlace) {
  Crash();
  RescueReport();
  BeginReportFile();
  EndReportFile("somewhere else");
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashRescueTest, UnderTheSameNameTheOrdinaryReportStays) {
  Crash();
  RescueReport();
  BeginReportFile();
  ASSERT_EQ(Files().size(), 1U);
  EndReportFile(dir_.Join(Files()[0]).c_str());
  EXPECT_EQ(Files().size(), 1U);
}

class CrashDraftTest : public CrashRescueTest {
 protected:
  void SetUp() override {
    CrashRescueTest::SetUp();
    Crash();
    ReportGoesTo(Ordinary().c_str());
  }
  std::string Ordinary() const { return dir_.Join("ordinary.log"); }
};

TEST_F(CrashDraftTest, ItStandsWhereTheReportWillBe) {
  DraftReport();
  EXPECT_EQ(Files(), Texts{"ordinary.log"});
  EXPECT_EQ(CurrentCrashStage(), CrashStage::kReporting);
  BeginReportFile();
  EndReportFile(Ordinary().c_str());
  EXPECT_EQ(Files(), Texts{"ordinary.log"});
}

TEST_F(CrashDraftTest, ARescuedReportTakesItsPlace) {
  DraftReport();
  EXPECT_TRUE(RescueReport());
  ASSERT_EQ(Files().size(), 1U);
  EXPECT_EQ(Files()[0].find("dumps/7.0/Crash_A2_S2_Signal_"), 0U);
}

TEST_F(CrashDraftTest, ItStaysWhereNoReportCanBeRescued) {
  DraftReport();
  DarwinCrashHandler::GetInstance()->SetCrashDumpDirPath(std::string(9000, 'd').c_str());
  setenv("HOME", "/proc/none", 1);
  EXPECT_TRUE(RescueReport());
  EXPECT_EQ(Files(), Texts{"ordinary.log"});
}

TEST_F(CrashDraftTest, ItMakesRoomAndComesBackWhenThatDoesNotHelp) {
  BeginReportFile();
  EXPECT_FALSE(RemoveDraft());
  GiveCrashBack();
  Crash();
  ReportGoesTo(Ordinary().c_str());
  DraftReport();
  BeginReportFile();
  EXPECT_TRUE(RemoveDraft());
  EXPECT_TRUE(Files().empty());
  EXPECT_FALSE(RemoveDraft());
  EndReportFile(nullptr);
  EXPECT_EQ(Files(), Texts{"ordinary.log"});
}

TEST_F(CrashDraftTest, NobodyElseWritesIt) {
  std::thread([] { DraftReport(); }).join();
  EXPECT_TRUE(Files().empty());
}

TEST_F(CrashDraftTest, ThereIsNoneOfARescuedOrForgottenReport) {
  EXPECT_TRUE(RescueReport());
  DraftReport();
  EXPECT_EQ(Files().size(), 1U);
  ForgetReport();
  DraftReport();
  EXPECT_EQ(Files().size(), 1U);
}

TEST_F(CrashDraftTest, WithoutAPlaceThereIsNone) {
  ReportGoesTo("");
  DraftReport();
  ReportGoesTo(std::string(sizeof(ReportPath), 'p').c_str());
  DraftReport();
  EXPECT_TRUE(Files().empty());
}

// Runs for ever; no signal asks it where, so that a report takes a moment longer.
void RunWithSignalsBlocked() {
  static std::atomic<bool> runs{false};
  std::thread([] {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    for (;;) runs = true;
  }).detach();
  while (!runs) std::this_thread::yield();
}

TEST_F(CrashRescueTest, WhileTheHelperRescuesTheOwnerWaitsForTheEnd) {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    constexpr int kReportWasReplaced = 7;
    PrepareCrashReserve();
    SetCrashRescueTimeForTesting(100);
    RunWithSignalsBlocked();
    Crash();
    while (CurrentCrashStage() != CrashStage::kRescuing) {
    }
    BeginReportFile();
    return kReportWasReplaced;
  });
  EXPECT_EQ(child.signal, SIGABRT) << child.Ending();
  EXPECT_EQ(Files().size(), 1U);
}

TEST_F(CrashRescueTest, AnOrdinaryReportThatIsLostLeavesTheRescuedOne) {
  Crash();
  RescueReport();
  BeginReportFile();
  EndReportFile(nullptr);
  EXPECT_EQ(Files().size(), 1U);
}

}  // namespace
}  // namespace CrashHandler
