// Loading the framework and calling its upload entry point, seen from outside the process.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/helper/upload_bridge_fixture.h"

namespace oru_test {
namespace {

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
