// Every way to crash, as a process: how it ends, what report it leaves, what the module logs.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <regex>

#include "tests/support/child_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildOptions;
using oru_test::ChildResult;
using oru_test::CrashReportText;
using oru_test::TempDir;
using Texts = std::vector<std::string>;

struct CrashKind {
  const char* name;
  // The signal that ends the process, or 0 and its exit status.
  int signal;
  int exit_code;
  // The kind in the report's file name.
  const char* word;
  // The module's first line about the crash; "%" stands for the signal's number.
  const char* first_line;
  int raised_signal;
  // Lines of crashes that were refused, after the report; null when there are none.
  const char* refused;
};

void PrintTo(const CrashKind& kind, std::ostream* out) { *out << kind.name; }

const char kSignalLine[] = "1 DarwinCrashHandler::singal happend, signal = % ";
const char kRefused[] = "2 DarwinCrashHandler::already had crash happend";

const CrashKind kKinds[] = {
    {"segv", SIGSEGV, -1, "Signal", kSignalLine, SIGSEGV, nullptr},
    {"wild", SIGSEGV, -1, "Signal", kSignalLine, SIGSEGV, nullptr},
    {"abort", SIGABRT, -1, "Signal", kSignalLine, SIGABRT, nullptr},
    {"fpe", SIGFPE, -1, "Signal", kSignalLine, SIGFPE, nullptr},
    {"ill", SIGILL, -1, "Signal", kSignalLine, SIGILL, nullptr},
    {"bus", SIGBUS, -1, "Signal", kSignalLine, SIGBUS, nullptr},
    // These go on after the handler.
    {"trap", 0, 0, "Signal", kSignalLine, SIGTRAP, nullptr},
    {"pipe", 0, 0, "Signal", kSignalLine, SIGPIPE, nullptr},
    {"sys", 0, 0, "Signal", kSignalLine, SIGSYS, nullptr},
    {"stack-overflow", SIGSEGV, -1, "Signal", kSignalLine, SIGSEGV, nullptr},
    // GNUstep ends the process itself.
    {"exception", 0, 1, "Exception", "1 DarwinCrashHandler::exception happend", 0, nullptr},
    {"cpp-throw", SIGABRT, -1, "Signal", kSignalLine, SIGABRT, nullptr},
    // The exception that nobody catches aborts; the flag is set by then.
    {"new-failure", SIGABRT, -1, "MemoryError", "1 DarwinCrashHandler::new failed hanppend", 0,
     kRefused},
    // The broken pipe is reported; the fault meets the default action.
    {"twice", SIGSEGV, -1, "Signal", kSignalLine, SIGPIPE, nullptr},
    {"many-threads", SIGSEGV, -1, "Signal", kSignalLine, SIGSEGV, kRefused},
};

const char kModulePrefix[] = "Crash_Handler ";

class HostApp {
 public:
  ChildResult Run(Texts arguments) {
    ChildOptions options;
    options.env["HOME"] = dir_.path();
    options.env["TZ"] = "UTC";
    // The signals are the program's own; a sanitizer leaves them and the stacks alone.
    options.env["ASAN_OPTIONS"] =
        "handle_segv=0:handle_abort=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:"
        "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0:allocator_may_return_null=1";
    options.env["UBSAN_OPTIONS"] = options.env["ASAN_OPTIONS"];
    if (!latin_1_.empty()) options.env["LATIN_1"] = latin_1_;
    arguments.insert(arguments.begin(), HOST_APP);
    return oru_test::RunChild(arguments, options);
  }
  ChildResult Crash(const std::string& kind, const Texts& more = {}) {
    Texts arguments = {"--dump-dir",       DumpDir(), "--app-id",      "A1",
                       "--session-id",     "S1",      "--sdk-version", "6.1.0-x",
                       "--extra-info",     "note 1",  "--crash",       kind,
                       "--show-module-log"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }

  std::string DumpDir() const { return dir_.Join("dumps"); }
  Texts Files() const { return oru_test::ListFilesRecursively(DumpDir()); }
  // The one report; a test failure when there is none, more than one, or it is damaged.
  CrashReportText Report() const {
    const Texts files = Files();
    EXPECT_EQ(files.size(), 1U);
    if (files.size() != 1) return {};
    CrashReportText report =
        oru_test::ParseCrashReport(oru_test::ReadFile(DumpDir() + "/" + files[0]));
    EXPECT_EQ(report.error, "");
    return report;
  }
  const TempDir& dir() const { return dir_; }
  // Gives programs a variable that is not UTF-8.
  void SpoilEnvironment() { latin_1_ = "caf\xe9"; }

 private:
  TempDir dir_;
  std::string latin_1_;
};

// The module's log lines, "LEVEL MESSAGE", with the addresses of the frames left out.
Texts ModuleLines(const ChildResult& result) {
  Texts lines;
  for (const std::string& line : oru_test::SplitLines(result.err)) {
    if (line.rfind(kModulePrefix, 0) == 0) lines.push_back(line.substr(strlen(kModulePrefix)));
  }
  return lines;
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

class CrashKindTest : public testing::TestWithParam<CrashKind> {
 protected:
  // "%" in the line becomes the signal's number.
  std::string FirstLine() const {
    std::string line = GetParam().first_line;
    const size_t mark = line.find('%');
    if (mark != std::string::npos) line.replace(mark, 1, std::to_string(GetParam().raised_signal));
    return line;
  }
  void ExpectEnding(const ChildResult& result) const {
    EXPECT_EQ(result.signal, GetParam().signal) << result.Ending();
    EXPECT_EQ(result.exit_code, GetParam().exit_code) << result.Ending();
    EXPECT_LT(result.wall_s, 10);
  }

  HostApp app_;
};

TEST_P(CrashKindTest, LeavesOneReportAndEndsAsItShould) {
  const ChildResult result = app_.Crash(GetParam().name);
  ExpectEnding(result);
  const Texts files = app_.Files();
  ASSERT_EQ(files.size(), 1U);
  const std::regex name(std::string("6\\.1\\.0/Crash_A1_S1_") + GetParam().word +
                        "_[0-9]{4}(-[0-9]{2}){5}\\.log");
  EXPECT_TRUE(std::regex_match(files[0], name)) << files[0];
  const CrashReportText report = app_.Report();
  EXPECT_EQ(report.path, app_.DumpDir());
  EXPECT_EQ(report.custom_info, "note 1");
  EXPECT_EQ(report.exception.has_value(), GetParam().word == std::string("Exception"));
  // The sample SDK is on the crashed stack, by its image at least.
  EXPECT_TRUE(CrashReportText::AnyContains(report.crash_frames, "OruRTCSample"));
  EXPECT_NE(report.FindThread(static_cast<uint32_t>(report.crash_thread)), nullptr);
  EXPECT_GE(report.images.size(), 5U);
  EXPECT_EQ(report.images[0].name, "host_app");
  for (const auto& image : report.images) {
    EXPECT_LT(image.start, image.end);
    EXPECT_EQ(image.uuid.size(), 32U);
  }
  const Texts lines = oru_test::SplitLines(result.err);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "host_app: crash callback, kind 1"), 1);
}

// A kind of each hook, and those that have crashes refused: what hangs on the hook alone.
class CrashHookTest : public CrashKindTest {};

TEST_P(CrashHookTest, LogsItsLinesInOrder) {
  const Texts lines = ModuleLines(app_.Crash(GetParam().name));
  size_t i = 0;
  const auto next = [&] { return i < lines.size() ? lines[i++] : "(end)"; };
  EXPECT_EQ(next(), "1 DarwinCrashHandler::InstallCrashHandler");
  EXPECT_EQ(next(), "1 DarwinCrashHandler::had old exception handler");
  // Threads that crash together are refused at any moment from the first one's turn on.
  size_t refused = 0;
  const auto next_own = [&] {
    std::string line = next();
    for (; line == kRefused; line = next()) ++refused;
    return line;
  };
  EXPECT_EQ(next_own(), FirstLine());
  EXPECT_EQ(next_own(), "1 Alread set backup log dir: " + app_.DumpDir());
  std::string line = next_own();
  EXPECT_TRUE(StartsWith(line, "1 Crash stack: ")) << line;
  while (StartsWith(line, "1 Crash stack: ")) line = next_own();
  EXPECT_EQ(line, "1 OruRTCCrashReport::find sdk symbols");
  line = next_own();
  EXPECT_TRUE(StartsWith(line, "1 DarwinCrashHandler::report finish, old handler ")) << line;
  if (GetParam().word == std::string("Exception")) {
    EXPECT_EQ(next(), "1 DarwinCrashHandler::release exception handler: force = 1");
  }
  for (; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i], kRefused);
    ++refused;
  }
  if (GetParam().refused == nullptr) EXPECT_EQ(refused, 0U);
  EXPECT_LE(refused, 19U);
}

TEST_P(CrashHookTest, OutsideTheSdkLeavesNoReportAndEndsTheSame) {
  const ChildResult result = app_.Crash(GetParam().name, {"--outside-sdk"});
  ExpectEnding(result);
  EXPECT_EQ(app_.Files(), Texts{});
  EXPECT_NE(result.err.find("OruRTCCrashReport::not find sdk symbols, ignore it"),
            std::string::npos);
}

TEST_P(CrashHookTest, OnAWorkerThreadIsTheSame) {
  const ChildResult result = app_.Crash(GetParam().name, {"--worker"});
  ExpectEnding(result);
  const CrashReportText report = app_.Report();
  if (GetParam().name == std::string("many-threads")) return;
  const auto* thread = report.FindThread(static_cast<uint32_t>(report.crash_thread));
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(thread->name, "worker");
}

// GNUstep takes the whole environment for UTF-8, and otherwise fails in most of what it offers.
TEST_P(CrashKindTest, InAnEnvironmentThatIsNotUtf8LeavesOneReportAndASignalIsTheEnd) {
  app_.SpoilEnvironment();
  const ChildResult result = app_.Crash(GetParam().name);
  if (GetParam().signal != 0) ExpectEnding(result);
  const Texts files = app_.Files();
  ASSERT_EQ(files.size(), 1U) << result.err;
  EXPECT_TRUE(StartsWith(files[0], std::string("6.1.0/Crash_A1_S1_") + GetParam().word))
      << files[0];
  const CrashReportText report = app_.Report();
  EXPECT_EQ(report.path, app_.DumpDir());
  EXPECT_TRUE(CrashReportText::AnyContains(report.crash_frames, "OruRTCSample"));
  EXPECT_NE(report.FindThread(static_cast<uint32_t>(report.crash_thread)), nullptr);
}

std::string KindName(const testing::TestParamInfo<CrashKind>& info) {
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

#if defined(ORU_SANITIZED)
// Failed allocations end the process inside the sanitizer's operator new.
bool IsRunnable(const CrashKind& kind) { return kind.name != std::string("new-failure"); }
#else
bool IsRunnable(const CrashKind& /*kind*/) { return true; }
#endif

std::vector<CrashKind> RunnableKinds() {
  std::vector<CrashKind> kinds;
  std::copy_if(std::begin(kKinds), std::end(kKinds), std::back_inserter(kinds), IsRunnable);
  return kinds;
}

std::vector<CrashKind> KindsOfHooks() {
  std::vector<CrashKind> kinds;
  for (const CrashKind& kind : RunnableKinds()) {
    for (const char* name : {"segv", "exception", "new-failure", "twice", "many-threads"}) {
      if (name == std::string(kind.name)) kinds.push_back(kind);
    }
  }
  return kinds;
}

INSTANTIATE_TEST_SUITE_P(Kinds, CrashKindTest, testing::ValuesIn(RunnableKinds()), KindName);
INSTANTIATE_TEST_SUITE_P(Hooks, CrashHookTest, testing::ValuesIn(KindsOfHooks()), KindName);

TEST(HostAppTest, HelpNamesEveryKind) {
  HostApp app;
  const ChildResult result = app.Run({"--help"});
  EXPECT_EQ(result.exit_code, 0);
  for (const CrashKind& kind : kKinds) {
    EXPECT_NE(result.out.find(std::string(" ") + kind.name), std::string::npos) << kind.name;
  }
}

TEST(HostAppTest, BadArgumentsAreRefused) {
  HostApp app;
  EXPECT_EQ(app.Run({"--crash", "sideways"}).exit_code, 2);
  EXPECT_EQ(app.Run({"--app-id"}).exit_code, 2);
  EXPECT_EQ(app.Run({"--idle-threads", "x"}).exit_code, 2);
  EXPECT_EQ(app.Run({"--work-ms", "-1"}).exit_code, 2);
  EXPECT_EQ(app.Run({"nonsense"}).exit_code, 2);
}

TEST(HostAppTest, OrdinaryRunLogsTracesAndLeavesNoReport) {
  HostApp app;
  const ChildResult result = app.Run({"--dump-dir", app.DumpDir()});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(app.Files(), Texts{});
  const std::string logs = app.dir().Join("Documents/Oru_RTC_Log/");
  EXPECT_NE(oru_test::ReadFile(logs + "host_app.log").find("Round 2"), std::string::npos);
  const std::string trace = oru_test::ReadFile(logs + "host_app_trace.json");
  EXPECT_NE(trace.find("\"Work\""), std::string::npos);
  EXPECT_NE(trace.find("]}"), std::string::npos);
}

TEST(HostAppTest, TraceOfACrashEndsAtAWholeLine) {
  HostApp app;
  // The writer wakes up ten times a second.
  const ChildResult result =
      app.Run({"--dump-dir", app.DumpDir(), "--work-ms", "400", "--crash", "segv"});
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  const std::string trace =
      oru_test::ReadFile(app.dir().Join("Documents/Oru_RTC_Log/host_app_trace.json"));
  EXPECT_EQ(trace.find("{ \"traceEvents\": [\n"), 0U);
  EXPECT_NE(trace.find("\"Round\""), std::string::npos);
  EXPECT_EQ(trace.back(), '\n');
}

TEST(HostAppTest, LogOfACrashIsCompleteToItsLastLine) {
  HostApp app;
  app.Crash("segv");
  const std::string log = oru_test::ReadFile(app.dir().Join("Documents/Oru_RTC_Log/host_app.log"));
  EXPECT_NE(log.find("Crashing on request: segv\n"), std::string::npos);
  EXPECT_EQ(log.back(), '\n');
}

TEST(HostAppTest, DefaultsAreUsedWithoutIdentityAndDumpDir) {
  HostApp app;
  app.Run({"--crash", "segv"});
  const std::string dumps = app.dir().Join("Library/Caches/Oru_RTC_Crash");
  const Texts files = oru_test::ListFilesRecursively(dumps);
  ASSERT_EQ(files.size(), 1U);
  const std::regex name("1\\.0\\.dev/Crash_Unknown-App_[A-Za-z0-9]{8}_Signal_.*\\.log");
  EXPECT_TRUE(std::regex_match(files[0], name)) << files[0];
  const std::string text = oru_test::ReadFile(dumps + "/" + files[0]);
  EXPECT_EQ(text.substr(text.size() - 18), "\nUserCustomInfo:\n\n");
  EXPECT_EQ(oru_test::ParseCrashReport(text).path, dumps + "/");
}

TEST(HostAppTest, ConsoleShowsTheModulesLines) {
  HostApp app;
  const ChildResult result = app.Run({"--dump-dir", app.DumpDir(), "--console"});
  EXPECT_NE(result.out.find("Crash_Handler ("), std::string::npos);
  EXPECT_NE(result.out.find("): DarwinCrashHandler::InstallCrashHandler \n"), std::string::npos);
}

TEST(HostAppTest, StackOverflowWithoutAnAlternateStackLeavesNoReport) {
  HostApp app;
  const ChildResult result = app.Crash("stack-overflow", {"--no-alternate-stack"});
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  EXPECT_EQ(app.Files(), Texts{});
}

TEST(HostAppTest, EveryIdleThreadIsInTheReportWithWhatItWaitsIn) {
  HostApp app;
  const ChildResult result = app.Crash("segv", {"--idle-threads", "100"});
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  const CrashReportText report = app.Report();
  for (int i = 0; i < 100; ++i) {
    const auto* thread = report.FindThread("idle-" + std::to_string(i));
    ASSERT_NE(thread, nullptr) << i;
    EXPECT_TRUE(CrashReportText::AnyContains(thread->frames, "IdleThreads")) << i;
  }
  EXPECT_TRUE(report.thread_failures.empty());
}

TEST(HostAppTest, IdentityBeyondTheCharactersOfTheLocaleIsKept) {
  setenv("GNUSTEP_STRING_ENCODING", "NSISOLatin1StringEncoding", 1);
  HostApp app;
  const ChildResult result =
      app.Run({"--dump-dir", app.DumpDir(), "--app-id", "\xe6\x97\xa5", "--crash", "segv"});
  EXPECT_EQ(result.signal, SIGSEGV) << result.Ending();
  ASSERT_EQ(app.Files().size(), 1U);
  EXPECT_NE(app.Files()[0].find("/Crash_\xe6\x97\xa5_"), std::string::npos) << app.Files()[0];
}

}  // namespace
