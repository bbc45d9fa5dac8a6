// Installing and removing the hooks, and each hook's flow, inside the test's own process (the hooks
// are called, or reached by signals that were only raised). How processes end is in the other
// files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_hooks.h"
#include "tests/crash_handler/support/log_capture.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"

// Frames that carry the filter's word. The return value keeps the call from being the last one.
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCTestRaise(int signo) {
  const int result = raise(signo);
  return result + 1;
}
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCTestCall(void (*hook)()) {
  hook();
  return 1;
}
// What a rethrown exception's frames look like.
extern "C" __attribute__((noinline, visibility("default"))) int objc_exception_rethrow_double(
    void (*hook)()) {
  hook();
  return 1;
}

namespace CrashHandler {
namespace {

using oru_test::LogCapture;
using oru_test::TempDir;
using Texts = std::vector<std::string>;

const char kInstall[] = "1 DarwinCrashHandler::InstallCrashHandler";
const char kOldException[] = "1 DarwinCrashHandler::had old exception handler";
const char kUninstall[] = "1 DarwinCrashHandler::UnInstallCrashHandler";
const char kForceZero[] = "1 DarwinCrashHandler::release exception handler: force = 0";
const char kForceOne[] = "1 DarwinCrashHandler::release exception handler: force = 1";

std::vector<int> sCallbackKinds;
std::vector<int> sOldSignals;
int sOldCalls = 0;
NSException* sOldException = nil;

void OnCrash(void* /*handler*/, CrashType kind) { sCallbackKinds.push_back(kind); }
void OldSignalHandler(int signo, siginfo_t* info, void* context) {
  sOldSignals.push_back(info != nullptr && context != nullptr ? signo : -1);
}
void OldPlainHandler(int /*signo*/) { ++sOldCalls; }
void OldFunction() { ++sOldCalls; }
void OldExceptionHandler(NSException* exception) { sOldException = exception; }

struct sigaction Action(int signo) {
  struct sigaction action = {};
  sigaction(signo, nullptr, &action);
  return action;
}

template <typename Record>
std::string Bytes(const Record& record) {
  return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

// Without what the C library adds for itself.
int OwnFlags(const struct sigaction& action) { return action.sa_flags & ~0x04000000; }

// What the C++ library makes of a null terminate handler: its own default, or null.
std::terminate_handler NullTerminateHandler() {
  const std::terminate_handler current = std::get_terminate();
  std::set_terminate(nullptr);
  const std::terminate_handler result = std::get_terminate();
  std::set_terminate(current);
  return result;
}

// A log line without the value of a pointer at its end.
bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

class CrashFlowTest : public testing::Test {
 protected:
  void SetUp() override {
    // The one that a sanitizer brings is too small for a report.
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
    setenv("HOME", dir_.path().c_str(), 1);
    handler_ = DarwinCrashHandler::GetInstance();
    handler_->SetCrashDumpDirPath(dir_.Join("dumps").c_str());
    handler_->SetCrashHandlerCallback(OnCrash);
    CrashTraceInfo info{"A", "S", "1.0", "note"};
    handler_->SetTraceInfo(info);
  }
  void Install() {
    handler_->InstallCrashHandler();
    log_.Clear();
  }
  Texts Reports() { return oru_test::ListFilesRecursively(dir_.Join("dumps")); }
  oru_test::CrashReportText OnlyReport() {
    const Texts reports = Reports();
    EXPECT_EQ(reports.size(), 1U);
    if (reports.size() != 1) return {};
    return oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join("dumps/" + reports[0])));
  }
  // The log without the lines of the report's own steps.
  Texts FlowLines() {
    Texts lines;
    for (const std::string& text : log_.Texts()) {
      if (text.find(" DarwinCrashHandler::") != std::string::npos) lines.push_back(text);
    }
    return lines;
  }

  ~CrashFlowTest() override { [pool_ drain]; }

  NSAutoreleasePool* const pool_ = [[NSAutoreleasePool alloc] init];
  TempDir dir_;
  LogCapture log_;
  DarwinCrashHandler* handler_ = nullptr;
};

TEST_F(CrashFlowTest, SignalsAreCaughtInTheFixedOrder) {
  const int expected[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP};
  ASSERT_EQ(kExceptionSignalCount, 8U);
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(kExceptionSignals[i], expected[i]);
}

TEST_F(CrashFlowTest, InstallingLogsItsStepsAndReturnsTrue) {
  EXPECT_TRUE(handler_->InstallCrashHandler());
  EXPECT_EQ(log_.Texts(), (Texts{kInstall, kOldException}));
  EXPECT_EQ(log_.lines()[0].tag, "Crash_Handler");
  EXPECT_NE(
      log_.lines()[0].file.find("media_core/biz_engine/crash_handler/darwin/crash_handler_darwin"),
      std::string::npos);
}

TEST_F(CrashFlowTest, InstallingCreatesNoFile) {
  Install();
  EXPECT_EQ(oru_test::ListDir(dir_.path()), Texts{});
}

TEST_F(CrashFlowTest, InstallingTwiceInstallsOnceAndSaysSo) {
  Install();
  const struct sigaction saved = oldSignalHandlers[5];
  EXPECT_TRUE(handler_->InstallCrashHandler());
  EXPECT_EQ(log_.Texts(), (Texts{kInstall, "1 DarwinCrashHandler::Already install crash handler"}));
  EXPECT_EQ(oldSignalHandlers[5].sa_sigaction, saved.sa_sigaction);
  EXPECT_EQ(oldSignalHandlers[5].sa_flags, saved.sa_flags);
}

TEST_F(CrashFlowTest, EachSignalGetsTheHandlerWithItsFlagsAndOnlyItselfMasked) {
  Install();
  for (const int signo : kExceptionSignals) {
    const struct sigaction action = Action(signo);
    EXPECT_EQ(OwnFlags(action), SA_SIGINFO | SA_ONSTACK) << signo;
    EXPECT_EQ(action.sa_sigaction, Action(SIGABRT).sa_sigaction) << signo;
    EXPECT_NE(action.sa_handler, SIG_DFL);
    for (int other = 1; other < 32; ++other) {
      EXPECT_EQ(sigismember(&action.sa_mask, other), other == signo ? 1 : 0) << signo;
    }
  }
}

TEST_F(CrashFlowTest, OtherSignalsKeepTheirActions) {
  const int others[] = {SIGTERM, SIGINT, SIGUSR1, SIGALRM, oru_test::LastSignal()};
  // Shells have programs in the background ignore some.
  for (const int signo : others) signal(signo, SIG_DFL);
  Install();
  for (const int signo : others) {
    EXPECT_EQ(Action(signo).sa_handler, SIG_DFL) << signo;
  }
}

TEST_F(CrashFlowTest, NoAlternateStackIsMade) {
  Install();
  stack_t stack = {};
  ASSERT_EQ(sigaltstack(nullptr, &stack), 0);
  EXPECT_EQ(stack.ss_flags, SS_DISABLE);
}

TEST_F(CrashFlowTest, ReplacedActionsAreSavedAndPutBackExactly) {
  struct sigaction old = {};
  old.sa_sigaction = OldSignalHandler;
  old.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
  sigemptyset(&old.sa_mask);
  sigaddset(&old.sa_mask, SIGUSR1);
  sigaction(SIGSEGV, &old, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGFPE, SIG_DFL);
  Install();
  EXPECT_EQ(oldSignalHandlers[5].sa_sigaction, OldSignalHandler);
  EXPECT_EQ(oldSignalHandlers[4].sa_handler, SIG_IGN);
  EXPECT_TRUE(handler_->UnInstallCrashHandler());
  const struct sigaction now = Action(SIGSEGV);
  EXPECT_EQ(now.sa_sigaction, OldSignalHandler);
  EXPECT_EQ(OwnFlags(now), SA_SIGINFO | SA_RESTART | SA_NODEFER);
  EXPECT_EQ(sigismember(&now.sa_mask, SIGUSR1), 1);
  EXPECT_EQ(Action(SIGPIPE).sa_handler, SIG_IGN);
  EXPECT_EQ(Action(SIGFPE).sa_handler, SIG_DFL);
  EXPECT_EQ(Bytes(oldSignalHandlers), std::string(sizeof oldSignalHandlers, '\0'));
}

TEST_F(CrashFlowTest, UninstallingLogsItsStepsAndAllowsInstallingAgain) {
  Install();
  EXPECT_TRUE(handler_->UnInstallCrashHandler());
  EXPECT_EQ(log_.Texts(), (Texts{kUninstall, kForceZero}));
  log_.Clear();
  handler_->InstallCrashHandler();
  EXPECT_EQ(log_.Texts(), Texts{kInstall}) << "the exception handler is still the module's";
  EXPECT_NE(Action(SIGSEGV).sa_handler, SIG_DFL);
}

TEST_F(CrashFlowTest, UninstallingWithoutAnOldExceptionHandlerLeavesTheModules) {
  Install();
  handler_->UnInstallCrashHandler();
  EXPECT_EQ(NSGetUncaughtExceptionHandler(), OruRTCExceptionHandler);
}

TEST_F(CrashFlowTest, UninstallingPutsTheOldExceptionHandlerBack) {
  NSSetUncaughtExceptionHandler(OldExceptionHandler);
  Install();
  EXPECT_EQ(OruRTCOldExceptionHandler, OldExceptionHandler);
  handler_->UnInstallCrashHandler();
  EXPECT_EQ(NSGetUncaughtExceptionHandler(), OldExceptionHandler);
}

TEST_F(CrashFlowTest, ForcedExceptionReleaseAlwaysInstallsNull) {
  NSSetUncaughtExceptionHandler(OldExceptionHandler);
  InitOruRTCExceptionHandler();
  log_.Clear();
  ReleaseOruRTCExceptionHandler(true);
  EXPECT_EQ(log_.Texts(), Texts{kForceOne});
  EXPECT_EQ(NSGetUncaughtExceptionHandler(), nullptr);
  OruRTCOldExceptionHandler = nullptr;
  NSSetUncaughtExceptionHandler(OruRTCExceptionHandler);
  ReleaseOruRTCExceptionHandler(true);
  EXPECT_EQ(NSGetUncaughtExceptionHandler(), nullptr);
}

TEST_F(CrashFlowTest, UninstallingWithoutAnOldNewHandlerLeavesTheModules) {
  Install();
  EXPECT_EQ(std::get_new_handler(), OruRTCNewFailedCatchHandler);
  handler_->UnInstallCrashHandler();
  EXPECT_EQ(std::get_new_handler(), OruRTCNewFailedCatchHandler);
}

TEST_F(CrashFlowTest, UninstallingPutsTheOldNewHandlerBack) {
  std::set_new_handler(OldFunction);
  Install();
  handler_->UnInstallCrashHandler();
  EXPECT_EQ(std::get_new_handler(), OldFunction);
}

TEST_F(CrashFlowTest, ForcedNewHandlerReleaseWithoutAnOldOneInstallsNull) {
  Install();
  ReleaseOruRTCNewFailedHandle(true);
  EXPECT_EQ(std::get_new_handler(), nullptr);
}

TEST_F(CrashFlowTest, ForcedNewHandlerReleaseInstallsTheOldOne) {
  std::set_new_handler(OldFunction);
  Install();
  ReleaseOruRTCNewFailedHandle(true);
  EXPECT_EQ(std::get_new_handler(), OldFunction);
}

TEST_F(CrashFlowTest, TerminateHandlerIsNotInstalled) {
  const std::terminate_handler before = std::get_terminate();
  Install();
  EXPECT_EQ(std::get_terminate(), before);
  handler_->UnInstallCrashHandler();
  EXPECT_EQ(std::get_terminate(), before);
}

TEST_F(CrashFlowTest, TerminateHandlerIsSavedAndReleasedByItsRules) {
  std::set_terminate(OldFunction);
  InitOruRTCTerminateHandler();
  EXPECT_EQ(std::get_terminate(), OruRTCTerminateCatchHandler);
  InitOruRTCTerminateHandler();
  EXPECT_EQ(OruRTCOldTerminateHandler, OldFunction);
  ReleaseOruRTCTerminateHandle(false);
  EXPECT_EQ(std::get_terminate(), OldFunction);
  ReleaseOruRTCTerminateHandle(true);
  EXPECT_EQ(std::get_terminate(), NullTerminateHandler());
  OruRTCOldTerminateHandler = nullptr;
  std::set_terminate(OruRTCTerminateCatchHandler);
  ReleaseOruRTCTerminateHandle(false);
  EXPECT_EQ(std::get_terminate(), OruRTCTerminateCatchHandler);
  EXPECT_EQ(log_.Texts(), Texts{});
}

TEST_F(CrashFlowTest, SignalFlowRunsInOrder) {
  Install();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(
      FlowLines(),
      (Texts{"1 DarwinCrashHandler::singal happend, signal = " + std::to_string(SIGPIPE) + " ",
             "1 DarwinCrashHandler::report finish, old handler = 0"}));
  EXPECT_EQ(sCallbackKinds, std::vector<int>{1});
  const auto report = OnlyReport();
  EXPECT_EQ(report.error, "");
  EXPECT_TRUE(report.AnyContains(report.crash_frames, "OruRTCTestRaise"));
  EXPECT_EQ(report.custom_info, "note");
  EXPECT_TRUE(handler_->IsCrashed());
}

TEST_F(CrashFlowTest, AfterASignalAllEightHaveTheDefaultActionAndNothingIsSaved) {
  signal(SIGPIPE, SIG_IGN);
  Install();
  OruRTCTestRaise(SIGTRAP);
  for (const int signo : kExceptionSignals) EXPECT_EQ(Action(signo).sa_handler, SIG_DFL) << signo;
  EXPECT_EQ(Bytes(oldSignalHandlers), std::string(sizeof oldSignalHandlers, '\0'));
}

TEST_F(CrashFlowTest, ForcedSignalReleaseKeepsTheSavedMaskAndFlags) {
  struct sigaction old = {};
  old.sa_sigaction = OldSignalHandler;
  old.sa_flags = SA_SIGINFO | SA_RESTART;
  sigemptyset(&old.sa_mask);
  sigaddset(&old.sa_mask, SIGUSR2);
  sigaction(SIGSYS, &old, nullptr);
  Install();
  ReleaseOruRTCSingnalHandle(true);
  const struct sigaction now = Action(SIGSYS);
  EXPECT_EQ(now.sa_handler, SIG_DFL);
  EXPECT_EQ(OwnFlags(now), SA_SIGINFO | SA_RESTART);
  EXPECT_EQ(sigismember(&now.sa_mask, SIGUSR2), 1);
}

TEST_F(CrashFlowTest, PredecessorWithSignalInformationIsCalledOnceAfterTheReport) {
  struct sigaction old = {};
  old.sa_sigaction = OldSignalHandler;
  old.sa_flags = SA_SIGINFO;
  sigaction(SIGPIPE, &old, nullptr);
  Install();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(sOldSignals, std::vector<int>{SIGPIPE});
  const std::string line = FlowLines().back();
  EXPECT_TRUE(StartsWith(line, "1 DarwinCrashHandler::report finish, old handler = "));
  EXPECT_NE(line, "1 DarwinCrashHandler::report finish, old handler = 0");
  EXPECT_EQ(Reports().size(), 1U);
}

TEST_F(CrashFlowTest, PredecessorOfAnotherSignalIsNotCalled) {
  struct sigaction old = {};
  old.sa_sigaction = OldSignalHandler;
  old.sa_flags = SA_SIGINFO;
  sigaction(SIGPIPE, &old, nullptr);
  Install();
  OruRTCTestRaise(SIGSYS);
  EXPECT_TRUE(sOldSignals.empty());
}

TEST_F(CrashFlowTest, PlainPredecessorIsNotCalled) {
  signal(SIGPIPE, OldPlainHandler);
  Install();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(sOldCalls, 0);
  EXPECT_EQ(FlowLines().back(), "1 DarwinCrashHandler::report finish, old handler = 0");
}

TEST_F(CrashFlowTest, IgnoredPredecessorIsNotCalledWhateverItsFlags) {
  struct sigaction old = {};
  old.sa_handler = SIG_IGN;
  old.sa_flags = SA_SIGINFO;
  sigaction(SIGPIPE, &old, nullptr);
  Install();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(FlowLines().back(), "1 DarwinCrashHandler::report finish, old handler = 0");
}

TEST_F(CrashFlowTest, SecondSignalIsOnlyLogged) {
  Install();
  handler_->SetCrashed(true);
  OruRTCTestRaise(SIGPIPE);
  OruRTCTestRaise(SIGSEGV);
  const std::string refused = "2 DarwinCrashHandler::already had crash happend";
  EXPECT_EQ(log_.Texts(), (Texts{refused, refused}));
  EXPECT_TRUE(sCallbackKinds.empty());
  EXPECT_EQ(Reports(), Texts{});
  EXPECT_NE(Action(SIGSEGV).sa_handler, SIG_DFL) << "the handlers stay";
}

TEST_F(CrashFlowTest, InterruptedCodeKeepsItsErrorNumber) {
  Install();
  errno = E2BIG;
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(errno, E2BIG);
}

TEST_F(CrashFlowTest, TimersActionsAndMaskAreAsBeforeAfterASignal) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  std::map<int, void (*)(int)> actions;
  for (int signo = 1; signo <= oru_test::LastSignal(); ++signo) {
    signal(signo, SIG_DFL);
    actions[signo] = Action(signo).sa_handler;
  }
  Install();
  OruRTCTestRaise(SIGPIPE);
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int signo = 1; signo <= oru_test::LastSignal(); ++signo) {
    EXPECT_EQ(sigismember(&after, signo), sigismember(&before, signo)) << signo;
    EXPECT_EQ(Action(signo).sa_handler, actions[signo]) << signo;
  }
  EXPECT_EQ(actions[SIGSEGV], SIG_DFL);
}

std::vector<int> OpenDescriptors() {
  std::vector<int> open;
  for (int fd = 0; fd < 256; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) open.push_back(fd);
  }
  return open;
}

TEST_F(CrashFlowTest, OneDescriptorIsHeldFromInstallationToTheCrash) {
  const std::vector<int> before = OpenDescriptors();
  Install();
  handler_->UnInstallCrashHandler();
  Install();
  EXPECT_EQ(OpenDescriptors().size(), before.size() + 1);
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(CrashFlowTest, AHostsFileUnderTheHeldDescriptorsNumberIsLeftOpen) {
  const std::vector<int> before = OpenDescriptors();
  Install();
  const std::vector<int> now = OpenDescriptors();
  int held = -1;
  for (const int fd : now) {
    if (std::find(before.begin(), before.end(), fd) == before.end()) held = fd;
  }
  ASSERT_GE(held, 3);
  oru_test::WriteFile(dir_.Join("host"), "");
  const int file = open(dir_.Join("host").c_str(), O_RDONLY);
  ASSERT_EQ(dup2(file, held), held);
  OruRTCTestRaise(SIGPIPE);
  EXPECT_GE(fcntl(held, F_GETFD), 0);
  close(file);
  close(held);
}

TEST_F(CrashFlowTest, SignalOutsideTheSdkIsHandledWithoutAReport) {
  Install();
  raise(SIGPIPE);
  EXPECT_EQ(sCallbackKinds, std::vector<int>{1});
  EXPECT_EQ(Reports(), Texts{});
  EXPECT_EQ(FlowLines().size(), 2U);
}

TEST_F(CrashFlowTest, FailedAllocationWithoutAnOldHandlerReportsAndStepsAside) {
  Install();
  OruRTCTestCall(OruRTCNewFailedCatchHandler);
  const Texts lines = FlowLines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "1 DarwinCrashHandler::new failed hanppend");
  EXPECT_TRUE(StartsWith(lines[1], "1 DarwinCrashHandler::report finish, old handler = "));
  EXPECT_EQ(sCallbackKinds, std::vector<int>{1});
  EXPECT_EQ(std::get_new_handler(), nullptr);
  EXPECT_TRUE(handler_->IsCrashed());
  EXPECT_EQ(OnlyReport().error, "");
  EXPECT_NE(Reports()[0].find("_MemoryError_"), std::string::npos);
}

TEST_F(CrashFlowTest, FailedAllocationCallsTheOldHandlerAndInstallsIt) {
  std::set_new_handler(OldFunction);
  Install();
  OruRTCTestCall(OruRTCNewFailedCatchHandler);
  EXPECT_EQ(sOldCalls, 1);
  EXPECT_EQ(std::get_new_handler(), OldFunction);
}

TEST_F(CrashFlowTest, SecondFailedAllocationIsOnlyLogged) {
  Install();
  handler_->SetCrashed(true);
  OruRTCTestCall(OruRTCNewFailedCatchHandler);
  EXPECT_EQ(log_.Texts(), Texts{"2 DarwinCrashHandler::already had crash hanppend"});
  EXPECT_EQ(std::get_new_handler(), OruRTCNewFailedCatchHandler);
}

TEST_F(CrashFlowTest, SignalAfterAFailedAllocationIsOnlyLogged) {
  Install();
  OruRTCTestCall(OruRTCNewFailedCatchHandler);
  log_.Clear();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(log_.Texts(), Texts{"2 DarwinCrashHandler::already had crash happend"});
  EXPECT_EQ(Reports().size(), 1U);
}

TEST_F(CrashFlowTest, TerminateReportsCallsTheOldHandlerAndSetsNull) {
  std::set_terminate(OldFunction);
  InitOruRTCTerminateHandler();
  OruRTCTestCall(OruRTCTerminateCatchHandler);
  const Texts lines = FlowLines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "1 DarwinCrashHandler::terminate hanppend");
  EXPECT_TRUE(StartsWith(lines[1], "1 DarwinCrashHandler::report finish, old handler = "));
  EXPECT_EQ(sOldCalls, 1);
  EXPECT_EQ(std::get_terminate(), NullTerminateHandler());
  EXPECT_EQ(OnlyReport().error, "");
  EXPECT_EQ(sCallbackKinds, std::vector<int>{1});
}

TEST_F(CrashFlowTest, TerminateOfARethrownExceptionIsLeftToTheExceptionHandler) {
  std::set_terminate(OldFunction);
  InitOruRTCTerminateHandler();
  objc_exception_rethrow_double(OruRTCTerminateCatchHandler);
  EXPECT_EQ(log_.Texts(),
            (Texts{"1 DarwinCrashHandler::terminate hanppend",
                   "1 DarwinCrashHandler::due to uncaught exception, let exception handler it"}));
  EXPECT_FALSE(handler_->IsCrashed());
  EXPECT_EQ(sOldCalls, 1);
  EXPECT_EQ(std::get_terminate(), NullTerminateHandler());
  EXPECT_EQ(Reports(), Texts{});
}

TEST_F(CrashFlowTest, AfterARethrownExceptionTheNextCrashIsReported) {
  std::set_terminate(OldFunction);
  InitOruRTCTerminateHandler();
  objc_exception_rethrow_double(OruRTCTerminateCatchHandler);
  InitOruRTCSignalHandler();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(Reports().size(), 1U);
}

TEST_F(CrashFlowTest, SecondTerminateIsOnlyLogged) {
  handler_->SetCrashed(true);
  OruRTCTestCall(OruRTCTerminateCatchHandler);
  EXPECT_EQ(log_.Texts(), Texts{"2 DarwinCrashHandler::already had crash hanppend"});
}

NSException* CaughtException() {
  @try {
    [NSException raise:@"Name" format:@"reason"];
  } @catch (NSException* exception) {
    return exception;
  }
  return nil;
}

TEST_F(CrashFlowTest, ExceptionFlowRunsInOrderAndPassesTheExceptionOn) {
  NSSetUncaughtExceptionHandler(OldExceptionHandler);
  Install();
  NSException* exception = CaughtException();
  OruRTCExceptionHandler(exception);
  const Texts lines = FlowLines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "1 DarwinCrashHandler::exception happend");
  EXPECT_TRUE(StartsWith(lines[1], "1 DarwinCrashHandler::report finish, old handler is= 0x"));
  EXPECT_EQ(lines[2], kForceOne);
  EXPECT_EQ(sOldException, exception);
  EXPECT_EQ(NSGetUncaughtExceptionHandler(), nullptr);
  EXPECT_EQ(sCallbackKinds, std::vector<int>{1});
}

// What an uncaught exception does where the runtime aborts after the handler.
TEST_F(CrashFlowTest, UncaughtExceptionLeavesOneReportAndItsAbortIsOnlyLogged) {
  Install();
  OruRTCTestCall([] { OruRTCExceptionHandler(CaughtException()); });
  log_.Clear();
  OruRTCTestRaise(SIGABRT);
  EXPECT_EQ(log_.Texts(), Texts{"2 DarwinCrashHandler::already had crash happend"});
  EXPECT_EQ(sCallbackKinds, std::vector<int>{1});
  const auto report = OnlyReport();
  EXPECT_EQ(report.error, "");
  EXPECT_TRUE(report.exception.has_value());
  EXPECT_NE(Reports()[0].find("_Exception_"), std::string::npos);
}

TEST_F(CrashFlowTest, SecondExceptionIsOnlyLogged) {
  Install();
  handler_->SetCrashed(true);
  OruRTCExceptionHandler(CaughtException());
  EXPECT_EQ(log_.Texts(), Texts{"2 DarwinCrashHandler::already had crash happend"});
  EXPECT_EQ(NSGetUncaughtExceptionHandler(), OruRTCExceptionHandler);
}

TEST_F(CrashFlowTest, CrashedFlagSurvivesUninstalling) {
  Install();
  OruRTCTestRaise(SIGPIPE);
  handler_->UnInstallCrashHandler();
  EXPECT_TRUE(handler_->IsCrashed());
}

TEST_F(CrashFlowTest, RecreatedHandlerReportsAgain) {
  Install();
  OruRTCTestRaise(SIGPIPE);
  handler_->UnInstallCrashHandler();
  CrashHandlerProxy::DestroyCrashHandler(handler_);
  SetUp();
  CrashTraceInfo info{"second", nullptr, nullptr, nullptr};
  handler_->SetTraceInfo(info);
  EXPECT_FALSE(handler_->IsCrashed());
  Install();
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(Reports().size(), 2U);
}

TEST_F(CrashFlowTest, SettingsAreThoseOfTheMomentOfTheCrash) {
  Install();
  CrashTraceInfo info{"late", nullptr, "9.9-x", "late note"};
  handler_->SetTraceInfo(info);
  OruRTCTestRaise(SIGPIPE);
  EXPECT_EQ(Reports()[0].rfind("9.9/Crash_late_S_Signal_", 0), 0U);
  EXPECT_EQ(OnlyReport().custom_info, "late note");
}

TEST_F(CrashFlowTest, MachConfigurationOffInstallsTheRest) {
  CrashHandlerConfig config;
  config.enableMachExceptionHandler = false;
  handler_->UpdateCrashHandlerConfig(config);
  EXPECT_TRUE(handler_->InstallCrashHandler());
  EXPECT_EQ(log_.Texts(), (Texts{kInstall, kOldException}));
}

}  // namespace
}  // namespace CrashHandler
