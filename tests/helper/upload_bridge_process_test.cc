// Loading the framework and calling its upload entry point, seen from outside the process.
#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tests/helper/varnook_process.h"

namespace oru_test {
namespace {

using Lines = std::vector<std::string>;

constexpr char kDelayLine[] = "varnook HandleActionUploadLog delay 0 sec. ";
constexpr char kLoadedLine[] = "varnook the framework load success!";
constexpr char kErrorPrefix[] = "varnook the framework loadAndReturnError, error: ";

class UploadBridge : public VarnookTest {
 protected:
  // What a run writes after its arguments, without the final line, which is checked here.
  Lines BridgeLines(const VarnookRun& run, const std::string& status = "0") {
    const size_t arguments = 3;
    if (run.log.size() < arguments + 1) {
      ADD_FAILURE() << run.process.err;
      return {};
    }
    EXPECT_EQ(run.log.back(), "varnook upload_log return:" + status);
    return {run.log.begin() + arguments, run.log.end() - 1};
  }

  // A framework that cannot be loaded: the one line with the linker's reason, and nothing else.
  void ExpectLoadError(const std::string& reason) {
    const VarnookRun run = RunUpload();
    const Lines lines = BridgeLines(run);
    ASSERT_EQ(lines.size(), 2U) << run.process.err;
    EXPECT_EQ(lines[0], kDelayLine);
    EXPECT_EQ(lines[1].compare(0, strlen(kErrorPrefix), kErrorPrefix), 0) << lines[1];
    EXPECT_NE(lines[1].find(reason), std::string::npos) << lines[1];
    EXPECT_EQ(run.sdk, Lines{});
    EXPECT_EQ(run.process.Ending(), "exit 0");
  }

  void ExpectUpload(const VarnookRun& run) {
    EXPECT_EQ(BridgeLines(run, "5"),
              (Lines{kDelayLine, kLoadedLine, "varnook uploadLogPrivate return: 5"}));
    EXPECT_EQ(run.process.Ending(), "exit 5");
    EXPECT_EQ(run.sdk.size(), 11U);
  }

  void SetUp() override {
    VarnookTest::SetUp();
    options_.env["ORU_TEST_STATUS"] = "5";
  }
};

TEST_F(UploadBridge, ADelayOfZeroDoesNotSleepAndIsLogged) {
  InstallFramework(ORU_TEST_SDK);
  RecordSleeps();
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", LibraryDir(), "-delay", "0"});
  EXPECT_EQ(run.sleeps, Lines{});
  EXPECT_EQ(run.log[4], kDelayLine);
  EXPECT_EQ(run.process.Ending(), "exit 5");
}

TEST_F(UploadBridge, ALibraryPathWithoutTheFrameworkIsOneLine) {
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, "varnook \"" + FrameworkPath() + "\" sdk was not exist!"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, ANegativeStatusIsPassedThrough) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_STATUS"] = "-7";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run, "-7"),
            (Lines{kDelayLine, kLoadedLine, "varnook uploadLogPrivate return: -7"}));
  // The system keeps the low eight bits of an exit status.
  EXPECT_EQ(run.process.exit_code, 256 - 7);
}

TEST_F(UploadBridge, TheSmallestStatusIsLoggedWhole) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_STATUS"] = "-2147483648";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run, "-2147483648").back(), "varnook uploadLogPrivate return: -2147483648");
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, ADelayIsSleptBeforeTheFrameworkIsLookedFor) {
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", LibraryDir(), "-delay", "1"});
  EXPECT_EQ(run.log[4], "varnook HandleActionUploadLog delay 1 sec. ");
  EXPECT_GE(run.process.wall_s, 1.0);
}

TEST_F(UploadBridge, OnlyTheLow32BitsOfADelayCount) {
  RecordSleeps();
  const VarnookRun run =
      Run({"-action", "uploadLog", "-libp", LibraryDir(), "-delay", "4294967298"});
  EXPECT_EQ(run.log[4], "varnook HandleActionUploadLog delay 4294967298 sec. ");
  EXPECT_EQ(run.sleeps, Lines{"2"});
}

TEST_F(UploadBridge, ATrailingSlashOfTheLibraryPathIsKept) {
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", LibraryDir() + "/"});
  EXPECT_EQ(BridgeLines(run)[1],
            "varnook \"" + LibraryDir() + "//OruRTCSdk.framework\" sdk was not exist!");
}

TEST_F(UploadBridge, AVersionedFrameworkLoads) {
  InstallFramework(ORU_TEST_SDK, FrameworkShape::kVersioned);
  ExpectUpload(RunUpload());
}

TEST_F(UploadBridge, AVersionedFrameworkWithoutItsTopLinkLoads) {
  InstallFramework(ORU_TEST_SDK, FrameworkShape::kVersionedWithoutTopLink);
  ExpectUpload(RunUpload());
}

TEST_F(UploadBridge, AFlatFrameworkLoads) {
  InstallFramework(ORU_TEST_SDK, FrameworkShape::kFlat);
  ExpectUpload(RunUpload());
}

TEST_F(UploadBridge, ARelativeLibraryPathLoads) {
  InstallFramework(ORU_TEST_SDK);
  ExpectUpload(Run({"-action", "uploadLog", "-libp", "lib"}));
}

TEST_F(UploadBridge, TheWorkingFolderAsLibraryPathLoads) {
  InstallFramework(ORU_TEST_SDK, FrameworkShape::kFlat);
  options_.cwd = LibraryDir();
  ExpectUpload(Run({"-action", "uploadLog", "-libp", "."}));
}

TEST_F(UploadBridge, ALibraryPathInUtf8LoadsInThePlainLocale) {
  InstallFramework(ORU_TEST_SDK);
  ASSERT_EQ(rename(LibraryDir().c_str(), dir_.Join("l\u00efb \u2603").c_str()), 0);
  options_.env["LC_ALL"] = "C";
  ExpectUpload(Run({"-action", "uploadLog", "-libp", dir_.Join("l\u00efb \u2603")}));
}

TEST_F(UploadBridge, AFileInTheFrameworksPlaceIsNoBundle) {
  WriteFile(FrameworkPath(), "not a folder");
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run), (Lines{kDelayLine, "varnook the framework \"" + FrameworkPath() +
                                                     "\"  was load failed!"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, AnEmptyFrameworkFolderIsALoadError) {
  MakeDirs(FrameworkPath());
  ExpectLoadError("cannot open shared object file: No such file or directory");
}

TEST_F(UploadBridge, AGarbageBinaryIsALoadError) {
  InstallFrameworkWithCode(std::string(5000, 'g'));
  ExpectLoadError("invalid ELF header");
}

TEST_F(UploadBridge, AnEmptyBinaryIsALoadError) {
  InstallFrameworkWithCode("");
  ExpectLoadError("file too short");
}

TEST_F(UploadBridge, ATruncatedBinaryIsALoadError) {
  InstallFrameworkWithCode(ReadFile(ORU_TEST_SDK).substr(0, 100));
  ExpectLoadError("OruRTCSdk: ");
}

TEST_F(UploadBridge, ABinaryOfAnotherWordSizeIsALoadError) {
  std::string code = ReadFile(ORU_TEST_SDK);
  code[EI_CLASS] = ELFCLASS32;
  InstallFrameworkWithCode(code);
  ExpectLoadError("wrong ELF class: ELFCLASS32");
}

TEST_F(UploadBridge, ABinaryOfAnotherArchitectureIsALoadError) {
  InstallFramework(ORU_TEST_FOREIGN_LIBRARY);
  ExpectLoadError("OruRTCSdk: ");
}

TEST_F(UploadBridge, AnUndefinedSymbolIsALoadError) {
  InstallFramework(ORU_TEST_SDK_UNDEFINED_SYMBOL);
  ExpectLoadError("undefined symbol: OruTestFunctionThatNobodyDefines");
}

TEST_F(UploadBridge, AFolderInTheBinarysPlaceIsALoadError) {
  MakeDirs(FrameworkPath() + "/OruRTCSdk");
  ExpectLoadError("OruRTCSdk: ");
}

TEST_F(UploadBridge, APipeInTheBinarysPlaceIsALoadErrorAtOnce) {
  InstallFramework(ORU_TEST_SDK);
  const std::string code = FrameworkPath() + "/Versions/A/OruRTCSdk";
  ASSERT_EQ(remove(code.c_str()), 0);
  ASSERT_EQ(mkfifo(code.c_str(), 0600), 0);
  options_.timeout_s = 10;
  ExpectLoadError("OruRTCSdk: not a regular file");
}

TEST_F(UploadBridge, ADeviceInTheBinarysPlaceIsALoadError) {
  InstallFramework(ORU_TEST_SDK);
  const std::string code = FrameworkPath() + "/Versions/A/OruRTCSdk";
  ASSERT_EQ(remove(code.c_str()), 0);
  ASSERT_EQ(symlink("/dev/zero", code.c_str()), 0);
  options_.timeout_s = 10;
  ExpectLoadError("OruRTCSdk: not a regular file");
}

TEST_F(UploadBridge, AClassThatIsNoNSObjectHasNoEntryPoint) {
  InstallFramework(ORU_TEST_SDK_ROOT_CLASS);
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, kLoadedLine, "varnook the framework getUploadLogPrivate failed!"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, AClassThatAnswersForAMethodItHasNotIsAsked) {
  InstallFramework(ORU_TEST_SDK_ANSWERS_BY_ITSELF);
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run, "5").back(), "varnook uploadLogPrivate return: 5");
  ASSERT_EQ(run.sdk.size(), 10U);
  EXPECT_EQ(run.sdk[1], "HandOut");
}

TEST_F(UploadBridge, WhatTheFrameworkLeavesToThePoolGoesBeforeItsCode) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_SDK_MODE"] = "autoreleased";
  EXPECT_EQ(BridgeLines(RunUpload(), "5"),
            (Lines{kDelayLine, kLoadedLine, "gone", "varnook uploadLogPrivate return: 5"}));
}

TEST_F(UploadBridge, LinesOfTheFrameworkComeOutWhole) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_SDK_MODE"] = "lines";
  EXPECT_EQ(BridgeLines(RunUpload(), "5"),
            (Lines{kDelayLine, kLoadedLine, "half \xef\xbf\xbd", "nul a\\x00b",
                   "pair \xf0\x9f\x98\x80", "list 7", "varnook uploadLogPrivate return: 5"}));
}

TEST_F(UploadBridge, RootDoesNotRunWhatOthersMayChange) {
  if (geteuid() != 0) GTEST_SKIP() << "only root is privileged without further ado";
  InstallFramework(ORU_TEST_SDK);
  const std::string code = FrameworkPath() + "/Versions/A/OruRTCSdk";
  ASSERT_EQ(chmod(code.c_str(), 0666), 0);
  ExpectLoadError("/Versions/Current/OruRTCSdk: others may change it");
  ASSERT_EQ(chmod(code.c_str(), 0644), 0);
  ASSERT_EQ(chown(code.c_str(), 65534, 65534), 0);
  ExpectLoadError("/Versions/Current/OruRTCSdk: others may change it");
  ASSERT_EQ(chown(code.c_str(), 0, 0), 0);
  ASSERT_EQ(chmod(LibraryDir().c_str(), 0777), 0);
  ExpectLoadError(LibraryDir() + ": others may change it");
  ASSERT_EQ(chmod(LibraryDir().c_str(), 0755), 0);
  ExpectUpload(RunUpload());
}

TEST_F(UploadBridge, AFrameworkWithoutTheClassHasNoEntryPoint) {
  InstallFramework(ORU_TEST_SDK_WITHOUT_CLASS);
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, kLoadedLine, "varnook the framework getUploadLogPrivate failed!"}));
  EXPECT_EQ(run.sdk, Lines{"loaded"});
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, AClassWithoutTheMethodHasNoEntryPoint) {
  InstallFramework(ORU_TEST_SDK_WITHOUT_METHOD);
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, kLoadedLine, "varnook the framework getUploadLogPrivate failed!"}));
  EXPECT_EQ(run.sdk, Lines{"loaded"});
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, AMethodWithoutAnImplementationIsNoEntryPoint) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_SDK_MODE"] = "no-implementation";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, kLoadedLine, "varnook the framework getUploadLogPrivate failed!"}));
  EXPECT_EQ(run.sdk, Lines{"loaded"});
}

TEST_F(UploadBridge, AClassThatDeniesToRespondIsAskedAfterTheCall) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_SDK_MODE"] = "not-responding";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, kLoadedLine,
                   "varnook the framework did not methodForSelector for selector!"}));
  EXPECT_EQ(run.sdk, (Lines{"loaded", "getUploadLogPrivate", "respondsToSelector:"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(UploadBridge, ANullUploadFunctionCountsAsFailed) {
  InstallFramework(ORU_TEST_SDK);
  options_.env["ORU_TEST_SDK_MODE"] = "null";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(BridgeLines(run),
            (Lines{kDelayLine, kLoadedLine, "varnook the framework getUploadLogPrivate failed!"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

}  // namespace
}  // namespace oru_test
