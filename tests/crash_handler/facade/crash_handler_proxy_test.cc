#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <future>
#include <set>
#include <thread>
#include <type_traits>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy_impl.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "tests/crash_handler/support/log_capture.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using oru_test::LogCapture;
using oru_test::TempDir;
using Texts = std::vector<std::string>;

// The base without a platform behind it.
class TestHandler final : public CrashHandlerProxyImpl {
 public:
  bool InstallCrashHandler() override { return true; }
  bool UnInstallCrashHandler() override { return true; }
  bool attached() const { return CrashHandlerProxyImpl::attached; }
  bool has_owner() const { return CrashHandlerProxyImpl::attachedOwner != nullptr; }
};

struct Call {
  void* handler;
  CrashType type;
};
std::vector<Call> sCalls;

void RecordCall(void* handler, CrashType type) { sCalls.push_back({handler, type}); }

// A log sink that holds the locks of whoever logs.
std::promise<void>* sHeldInLog = nullptr;
std::promise<void>* sReadInLog = nullptr;

void SetAppOf(CrashHandlerProxy* handler, const char* app) {
  CrashTraceInfo info;
  info.appId = app;
  handler->SetTraceInfo(info);
}

constexpr int kDestructorIsThrough = 77;

// Made before everything of this program that is made later than its start.
struct Last {
  ~Last() {
    if (!armed) return;
    auto* const handler = DarwinCrashHandler::GetInstance();
    if (handler->GetAppId() != "main") _exit(2);
    SetAppOf(handler, "destructor");
    handler->SetCrashDumpDirPath("somewhere");
    handler->SetCrashHandlerCallback(nullptr);
    _exit(handler->GetAppId() == "destructor" ? kDestructorIsThrough : 3);
  }
  bool armed = false;
};
Last sLast;

class CrashHandlerProxyTest : public testing::Test {
 protected:
  void SetUp() override {
    sCalls.clear();
    setenv("HOME", home_.path().c_str(), 1);
  }
  void SetVersion(const char* version) {
    CrashTraceInfo info;
    info.sdkVersion = version;
    handler_.SetTraceInfo(info);
  }
  void SetApp(const std::string& app) {
    CrashTraceInfo info;
    info.appId = app.c_str();
    handler_.SetTraceInfo(info);
  }
  std::string DefaultDir() const { return home_.path() + "/Library/Caches/Oru_RTC_Crash/"; }

  TempDir home_;
  TestHandler handler_;
};

TEST_F(CrashHandlerProxyTest, FreshObjectHasTheDefaults) {
  EXPECT_EQ(handler_.GetAppId(), "Unknown-App");
  EXPECT_EQ(handler_.GetSDKVersion(), "1.0.dev");
  EXPECT_EQ(handler_.GetSessionId().size(), 8U);
  EXPECT_EQ(handler_.GetExtraInfo(), "");
  const CrashHandlerConfig config = handler_.GetCrashHandlerConfig();
  EXPECT_FALSE(config.outputLogToConsole);
  EXPECT_TRUE(config.reservedFlag1);
  EXPECT_TRUE(config.reservedFlag2);
  EXPECT_TRUE(config.enableMachExceptionHandler);
  EXPECT_FALSE(handler_.attached());
  EXPECT_FALSE(handler_.has_owner());
}

TEST_F(CrashHandlerProxyTest, SessionIdIsMadeOfLettersAndDigits) {
  for (const char c : handler_.GetSessionId()) EXPECT_TRUE(isalnum(static_cast<unsigned char>(c)));
}

TEST_F(CrashHandlerProxyTest, FreshObjectsHaveDifferentSessionIds) {
  std::set<std::string> ids;
  for (int i = 0; i < 20; ++i) ids.insert(TestHandler().GetSessionId());
  EXPECT_EQ(ids.size(), 20U);
}

TEST_F(CrashHandlerProxyTest, SecondDefaultDirCallRepeatsThePath) {
  setenv("HOME", "/Users/x", 1);
  const std::string path = "/Users/x/Library/Caches/Oru_RTC_Crash/";
  EXPECT_EQ(CrashHandlerProxy::GetDefaultCrashDumpDir(), path);
  EXPECT_EQ(CrashHandlerProxy::GetDefaultCrashDumpDir(), path + path);
}

TEST_F(CrashHandlerProxyTest, DumpDirWithNothingConfiguredIsTheDefaultWithoutLogging) {
  const LogCapture log;
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), DefaultDir());
  EXPECT_EQ(log.Texts(), Texts{});
}

TEST_F(CrashHandlerProxyTest, EmptyHomeMakesTheDefaultAPathBelowTheRoot) {
  setenv("HOME", "", 1);
  EXPECT_STREQ(handler_.GetCrashDumpDirPath(), "/Library/Caches/Oru_RTC_Crash/");
}

TEST_F(CrashHandlerProxyTest, DefaultDumpDirIsNotCreated) {
  handler_.GetCrashDumpDirPath();
  EXPECT_FALSE(oru_test::PathExists(home_.Join("Library")));
}

TEST_F(CrashHandlerProxyTest, DefaultDumpDirCountsAsConfiguredFromThenOn) {
  oru_test::MakeDirs(DefaultDir());
  handler_.GetCrashDumpDirPath();
  const LogCapture log;
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), DefaultDir());
  EXPECT_EQ(log.Texts(), Texts{"1 Alread set backup log dir: " + DefaultDir()});
}

TEST_F(CrashHandlerProxyTest, CreatableDumpDirIsLoggedAndReturnedUnchanged) {
  const std::string path = home_.Join("dumps");
  handler_.SetCrashDumpDirPath(path.c_str());
  const LogCapture log;
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), path);
  EXPECT_EQ(log.Texts(), Texts{"1 Alread set backup log dir: " + path});
  EXPECT_EQ(log.lines()[0].tag, "Crash_Handler");
  EXPECT_NE(
      log.lines()[0].file.find("media_core/biz_engine/crash_handler/crash_handler_proxy_impl"),
      std::string::npos);
  EXPECT_GT(log.lines()[0].line, 0);
  EXPECT_TRUE(oru_test::PathExists(path));
}

TEST_F(CrashHandlerProxyTest, SettingTheDumpDirCreatesNothing) {
  handler_.SetCrashDumpDirPath(home_.Join("dumps").c_str());
  EXPECT_FALSE(oru_test::PathExists(home_.Join("dumps")));
}

TEST_F(CrashHandlerProxyTest, DumpDirMissingTwoLevelsDeepIsReplacedByTheDefault) {
  const std::string path = home_.Join("a/b");
  handler_.SetCrashDumpDirPath(path.c_str());
  const LogCapture log;
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), DefaultDir());
  EXPECT_EQ(log.Texts(), (Texts{"1 Alread set backup log dir: " + path,
                                "2 Create backup dir failed, use default"}));
}

TEST_F(CrashHandlerProxyTest, ReplacedDumpDirStaysReplacedWithoutAMessage) {
  handler_.SetCrashDumpDirPath(home_.Join("a/b").c_str());
  handler_.GetCrashDumpDirPath();
  oru_test::MakeDirs(home_.Join("a"));
  oru_test::MakeDirs(DefaultDir());
  const LogCapture log;
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), DefaultDir());
  EXPECT_EQ(log.Texts(), Texts{"1 Alread set backup log dir: " + DefaultDir()});
}

TEST_F(CrashHandlerProxyTest, WritableFileInThePlaceOfTheDumpDirCountsAsPresent) {
  oru_test::WriteFile(home_.Join("file"), "x");
  handler_.SetCrashDumpDirPath(home_.Join("file").c_str());
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), home_.Join("file"));
}

TEST_F(CrashHandlerProxyTest, EmptyDumpDirMeansTheDefault) {
  handler_.SetCrashDumpDirPath("");
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), DefaultDir());
}

TEST_F(CrashHandlerProxyTest, DumpDirIsCopied) {
  std::string path = home_.Join("dumps");
  handler_.SetCrashDumpDirPath(path.c_str());
  const std::string expected = path;
  path.assign(path.size(), 'x');
  EXPECT_EQ(handler_.GetCrashDumpDirPath(), expected);
}

TEST_F(CrashHandlerProxyTest, PreReleaseSuffixOfTheVersionIsCut) {
  SetVersion("6.1.0-rc1");
  EXPECT_EQ(handler_.GetSDKVersion(), "6.1.0");
}

TEST_F(CrashHandlerProxyTest, VersionIsCutAtTheFirstDash) {
  SetVersion("3.2.1-beta-2");
  EXPECT_EQ(handler_.GetSDKVersion(), "3.2.1");
}

TEST_F(CrashHandlerProxyTest, VersionThatStartsWithADashIsEmpty) {
  SetVersion("-x");
  EXPECT_EQ(handler_.GetSDKVersion(), "");
}

TEST_F(CrashHandlerProxyTest, VersionWithoutADashIsStoredWhole) {
  SetVersion("6.1.0");
  EXPECT_EQ(handler_.GetSDKVersion(), "6.1.0");
}

TEST_F(CrashHandlerProxyTest, EmptyVersionIsStored) {
  SetVersion("");
  EXPECT_EQ(handler_.GetSDKVersion(), "");
}

TEST_F(CrashHandlerProxyTest, TraceInfoReadsAsFourNullsWhateverWasSet) {
  CrashTraceInfo info{"app", "session", "1.2", "extra"};
  handler_.SetTraceInfo(info);
  const CrashTraceInfo read = handler_.GetTraceInfo();
  EXPECT_EQ(read.appId, nullptr);
  EXPECT_EQ(read.sessionId, nullptr);
  EXPECT_EQ(read.sdkVersion, nullptr);
  EXPECT_EQ(read.extraInfo, nullptr);
  EXPECT_EQ(handler_.GetAppId(), "app");
  EXPECT_EQ(handler_.GetSessionId(), "session");
  EXPECT_EQ(handler_.GetSDKVersion(), "1.2");
  EXPECT_EQ(handler_.GetExtraInfo(), "extra");
}

TEST_F(CrashHandlerProxyTest, NullFieldsKeepWhatWasStored) {
  CrashTraceInfo info{"app", "session", "1.2-x", "extra"};
  handler_.SetTraceInfo(info);
  CrashTraceInfo partial;
  partial.appId = "other";
  handler_.SetTraceInfo(partial);
  EXPECT_EQ(handler_.GetAppId(), "other");
  EXPECT_EQ(handler_.GetSessionId(), "session");
  EXPECT_EQ(handler_.GetSDKVersion(), "1.2");
  EXPECT_EQ(handler_.GetExtraInfo(), "extra");
}

TEST_F(CrashHandlerProxyTest, EmptyFieldsAreStoredAsEmpty) {
  CrashTraceInfo info{"", "", nullptr, ""};
  handler_.SetTraceInfo(info);
  EXPECT_EQ(handler_.GetAppId(), "");
  EXPECT_EQ(handler_.GetSessionId(), "");
}

TEST_F(CrashHandlerProxyTest, CallbackAlwaysGetsKindOneAndTheObject) {
  handler_.SetCrashHandlerCallback(RecordCall);
  const CrashType types[] = {Signal, Exception, MemoryError, Terminate, static_cast<CrashType>(9)};
  for (const CrashType type : types) handler_.TrigerCrashHanlerCallback(type);
  ASSERT_EQ(sCalls.size(), 5U);
  for (const Call& call : sCalls) {
    EXPECT_EQ(call.type, Exception);
    EXPECT_EQ(call.handler, &handler_);
  }
}

TEST_F(CrashHandlerProxyTest, WithoutACallbackNothingHappens) {
  handler_.TrigerCrashHanlerCallback(Signal);
  handler_.SetCrashHandlerCallback(RecordCall);
  handler_.SetCrashHandlerCallback(nullptr);
  handler_.TrigerCrashHanlerCallback(Signal);
  EXPECT_TRUE(sCalls.empty());
}

void ReplaceItself(void* handler, CrashType type) {
  RecordCall(handler, type);
  static_cast<TestHandler*>(handler)->SetCrashHandlerCallback(nullptr);
}

TEST_F(CrashHandlerProxyTest, CallbackMayReplaceItself) {
  handler_.SetCrashHandlerCallback(ReplaceItself);
  handler_.TrigerCrashHanlerCallback(Signal);
  handler_.TrigerCrashHanlerCallback(Signal);
  EXPECT_EQ(sCalls.size(), 1U);
}

TEST_F(CrashHandlerProxyTest, ConfigIsCarriedWhole) {
  CrashHandlerConfig config;
  config.reservedFlag1 = false;
  config.enableMachExceptionHandler = false;
  handler_.UpdateCrashHandlerConfig(config);
  CrashHandlerConfig read = handler_.GetCrashHandlerConfig();
  EXPECT_FALSE(read.outputLogToConsole);
  EXPECT_FALSE(read.reservedFlag1);
  EXPECT_TRUE(read.reservedFlag2);
  EXPECT_FALSE(read.enableMachExceptionHandler);
  config = CrashHandlerConfig{false, true, false, true};
  handler_.UpdateCrashHandlerConfig(config);
  read = handler_.GetCrashHandlerConfig();
  EXPECT_TRUE(read.reservedFlag1);
  EXPECT_FALSE(read.reservedFlag2);
  EXPECT_TRUE(read.enableMachExceptionHandler);
}

TEST_F(CrashHandlerProxyTest, ConfigSwitchesTheConsole) {
  const auto result = oru_test::RunInFork([this] {
    CrashHandlerConfig config;
    config.outputLogToConsole = true;
    handler_.UpdateCrashHandlerConfig(config);
    PrintLog(kCrashLogInfo, "T", "f", 1, "on");
    config.outputLogToConsole = false;
    handler_.UpdateCrashHandlerConfig(config);
    PrintLog(kCrashLogInfo, "T", "f", 1, "off");
    return 0;
  });
  EXPECT_EQ(result.out, "T (f:1): on \n");
}

Texts sSinkTexts;
void RecordText(CrashHandlerLogLevel level, const char* tag, const char* /*file*/, int line,
                char* message) {
  sSinkTexts.push_back(std::string(tag) + " " + std::to_string(level) + " " + std::to_string(line) +
                       " " + message);
}

TEST_F(CrashHandlerProxyTest, DebugLogSinkIsModuleWide) {
  handler_.SetDebugLogSinkCallback(RecordText);
  PrintLog(kCrashLogError, "T", "f", 7, "%d", 3);
  TestHandler other;
  other.SetDebugLogSinkCallback(nullptr);
  PrintLog(kCrashLogError, "T", "f", 8, "%d", 4);
  EXPECT_EQ(sSinkTexts, Texts{"T 2 7 3"});
}

TEST_F(CrashHandlerProxyTest, RecordsAreFourBytesAndFourPointers) {
  static_assert(sizeof(CrashHandlerConfig) == 4, "four one-byte flags");
  static_assert(sizeof(CrashTraceInfo) == 4 * sizeof(void*), "four C strings");
  const CrashHandlerConfig config{true, false, true, false};
  const unsigned char expected[] = {1, 0, 1, 0};
  EXPECT_EQ(memcmp(&config, expected, sizeof config), 0);
  EXPECT_FALSE(std::has_virtual_destructor<CrashHandlerProxy>::value);
  EXPECT_EQ(sizeof(CrashHandlerProxy), sizeof(void*)) << "no data but the virtual table's";
}

// A pointer to a virtual function holds its place in the virtual table (plus one, in bytes).
template <typename Function>
size_t Slot(Function function) {
  uintptr_t words[2] = {};
  static_assert(sizeof function == sizeof words, "the platform's representation");
  memcpy(words, &function, sizeof words);
  return (words[0] - 1) / sizeof(void*) + 1;
}

TEST_F(CrashHandlerProxyTest, VirtualFunctionsKeepTheirSlots) {
  EXPECT_EQ(Slot(&CrashHandlerProxy::InstallCrashHandler), 1U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::UnInstallCrashHandler), 2U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::UpdateCrashHandlerConfig), 3U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::GetCrashHandlerConfig), 4U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::SetCrashDumpDirPath), 5U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::GetCrashDumpDirPath), 6U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::SetTraceInfo), 7U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::GetTraceInfo), 8U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::SetCrashHandlerCallback), 9U);
  EXPECT_EQ(Slot(&CrashHandlerProxy::SetDebugLogSinkCallback), 10U);
  EXPECT_EQ(Slot(&CrashHandlerProxyImpl::GetAppId), 11U);
  EXPECT_EQ(Slot(&CrashHandlerProxyImpl::GetSessionId), 12U);
  EXPECT_EQ(Slot(&CrashHandlerProxyImpl::GetSDKVersion), 13U);
  EXPECT_EQ(Slot(&CrashHandlerProxyImpl::GetExtraInfo), 14U);
  EXPECT_EQ(Slot(&CrashHandlerProxyImpl::TrigerCrashHanlerCallback), 15U);
}

TEST_F(CrashHandlerProxyTest, CreateGivesTheOneDarwinHandler) {
  CrashHandlerProxy* handler = CrashHandlerProxy::CreateCrashHandler();
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(CrashHandlerProxy::CreateCrashHandler(), handler);
  EXPECT_EQ(DarwinCrashHandler::GetInstance(), handler);
  EXPECT_FALSE(DarwinCrashHandler::GetInstance()->IsCrashed());
}

TEST_F(CrashHandlerProxyTest, CreateFromManyThreadsGivesOneHandler) {
  std::vector<CrashHandlerProxy*> handlers(8);
  std::vector<std::thread> threads;
  threads.reserve(handlers.size());
  for (auto& slot : handlers) {
    threads.emplace_back([&slot] { slot = CrashHandlerProxy::CreateCrashHandler(); });
  }
  for (auto& thread : threads) thread.join();
  for (const CrashHandlerProxy* handler : handlers) EXPECT_EQ(handler, handlers[0]);
}

// A report reads them at any time.
TEST_F(CrashHandlerProxyTest, SettingsReadWhileAnotherThreadSetsThemAreWhole) {
  constexpr int kReads = 5000;
  const std::string home = home_.path() + "/";
  handler_.SetCrashDumpDirPath(home.c_str());
  SetApp("a");
  std::atomic<bool> done{false};
  std::thread setter([&] {
    for (size_t i = 0; !done; ++i) {
      SetApp(std::string(i % 600, static_cast<char>('a' + i % 26)));
      handler_.SetCrashDumpDirPath((home + std::string(i % 100, '/')).c_str());
    }
  });
  for (int i = 0; i < kReads; ++i) {
    const std::string app = handler_.GetAppId();
    ASSERT_EQ(app.find_first_not_of(app.substr(0, 1)), std::string::npos) << app;
    const std::string dir = handler_.CopyCrashDumpDirPath();
    ASSERT_EQ(dir.compare(0, home.size(), home), 0) << dir;
  }
  done = true;
  setter.join();
}

// Its owner may be the crash, or wait for the crash's report.
TEST_F(CrashHandlerProxyTest, DumpDirForAReportDoesNotWaitForEver) {
  handler_.SetCrashDumpDirPath(home_.path().c_str());
  std::promise<void> held;
  std::promise<void> read;
  sHeldInLog = &held;
  sReadInLog = &read;
  std::thread holder([this] {
    SetLogSink([](CrashHandlerLogLevel, const char*, const char*, int, char*) {
      sHeldInLog->set_value();
      sReadInLog->get_future().wait();
    });
    handler_.GetCrashDumpDirPath();
  });
  held.get_future().wait();
  SetLogSink(nullptr);
  EXPECT_EQ(handler_.CopyCrashDumpDirPath(), home_.path());
  read.set_value();
  holder.join();
}

std::string SetAppAndReadSession(CrashHandlerProxy* handler) {
  CrashTraceInfo info;
  info.appId = "changed";
  handler->SetTraceInfo(info);
  return static_cast<DarwinCrashHandler*>(handler)->GetSessionId();
}

// In a child that was forked while another thread was in a setter.
TEST_F(CrashHandlerProxyTest, AForkedChildWaitsForNoSetter) {
  const auto body = [this] {
    std::atomic<bool> stop{false};
    std::thread setter([&] {
      while (!stop) SetApp("parent");
    });
    bool good = true;
    for (int i = 0; i < 100 && good; ++i) {
      const pid_t child = fork();
      if (child == 0) {
        alarm(10);
        SetApp("child");
        handler_.SetCrashDumpDirPath("child");
        _exit(handler_.GetAppId() == "child" ? 0 : 1);
      }
      int status = -1;
      good = child > 0 && waitpid(child, &status, 0) == child && status == 0;
    }
    stop = true;
    setter.join();
    return good ? 0 : 1;
  };
  EXPECT_EQ(oru_test::RunInFork(body).exit_code, 0);
}

// When everything that is destroyed at exit before it is gone.
TEST_F(CrashHandlerProxyTest, AStaticObjectsDestructorReadsAndSets) {
  const auto result = oru_test::RunInFork([]() -> int {
    SetAppOf(CrashHandlerProxy::CreateCrashHandler(), "main");
    sLast.armed = true;
    exit(1);
  });
  EXPECT_EQ(result.exit_code, kDestructorIsThrough) << result.Ending();
}

TEST_F(CrashHandlerProxyTest, DestroyingNullLeavesTheHandlerAlive) {
  CrashHandlerProxy* handler = CrashHandlerProxy::CreateCrashHandler();
  const std::string session = SetAppAndReadSession(handler);
  CrashHandlerProxy::DestroyCrashHandler(nullptr);
  EXPECT_EQ(CrashHandlerProxy::CreateCrashHandler(), handler);
  EXPECT_EQ(DarwinCrashHandler::GetInstance()->GetAppId(), "changed");
  EXPECT_EQ(DarwinCrashHandler::GetInstance()->GetSessionId(), session);
}

TEST_F(CrashHandlerProxyTest, DestroyingAnyOtherPointerDestroysTheHandler) {
  const std::string session = SetAppAndReadSession(CrashHandlerProxy::CreateCrashHandler());
  CrashHandlerProxy::DestroyCrashHandler(&handler_);
  CrashHandlerProxy::CreateCrashHandler();
  EXPECT_EQ(DarwinCrashHandler::GetInstance()->GetAppId(), "Unknown-App");
  EXPECT_NE(DarwinCrashHandler::GetInstance()->GetSessionId(), session);
}

TEST_F(CrashHandlerProxyTest, ReleasingTwiceDoesNothing) {
  CrashHandlerProxy::CreateCrashHandler();
  DarwinCrashHandler::Release();
  DarwinCrashHandler::Release();
}

TEST_F(CrashHandlerProxyTest, DumpFilePrefixIsTheWordCrash) {
  EXPECT_EQ(CrashDumpFilePrxfix, "Crash");
}

}  // namespace
}  // namespace CrashHandler
