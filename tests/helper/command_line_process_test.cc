// The command line and the actions, seen from outside the process.
#include <unistd.h>

#include "media_core/common/webrtc/rtc_base/version.h"
#include "tests/helper/varnook_process.h"

namespace oru_test {
namespace {

using Lines = std::vector<std::string>;

class CommandLineProcess : public VarnookTest {
 protected:
  void SetUp() override {
    VarnookTest::SetUp();
    InstallFramework(ORU_TEST_SDK);
  }
  // The library path's folder exists in the run's working folder only.
  std::string NoFrameworkLine(const std::string& library_path) const {
    return "varnook \"" + library_path + "/OruRTCSdk.framework\" sdk was not exist!";
  }
};

TEST_F(CommandLineProcess, NoArgumentsLogsAnEmptyLibraryPath) {
  const VarnookRun run = Run({});
  EXPECT_EQ(run.log, (Lines{"varnook upload_log", "varnook LibraryPath was empty!"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, TheVersionIsPrintedBesideWhatIsLoggedAnyway) {
  const VarnookRun plain = Run({});
  standard_output_ = "varnook " ORU_VERSION "\n";
  const VarnookRun run = Run({"--version"});
  EXPECT_EQ(run.log, plain.log);
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, AVersionAmongOtherArgumentsIsAKeyLikeAnyUnknownOne) {
  EXPECT_EQ(Run({"--version", "value"}).process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, WithoutALogPathTheOneUnderHomeIsPassedOn) {
  const VarnookRun run = RunUpload();
  EXPECT_EQ(run.sdk, (Lines{"loaded", "getUploadLogPrivate", "respondsToSelector:", "upload", "",
                            "", "", "", "", "", Home() + "/Documents/Oru_RTC_Log/"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, WithoutHomeTheDefaultLogPathBeginsWithItsSlash) {
  options_.env.erase("HOME");
  options_.unset_env = {"HOME"};
  const VarnookRun run = RunUpload();
  ASSERT_EQ(run.sdk.size(), 11U);
  EXPECT_EQ(run.sdk.back(), "/Documents/Oru_RTC_Log/");
}

TEST_F(CommandLineProcess, AnActionInOtherCaseUploadsNothing) {
  const Lines arguments = {"-action", "uploadlog", "-libp", LibraryDir()};
  const VarnookRun run = Run(arguments);
  Lines expected = ArgumentLines(arguments);
  expected.push_back("varnook upload_log return:0");
  EXPECT_EQ(run.log, expected);
  EXPECT_EQ(run.sdk, Lines{});
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, AnUnknownActionAfterInitLeavesInit) {
  const VarnookRun run =
      Run({"-action", "init", "-action", "someOtherWord", "-libp", LibraryDir()});
  EXPECT_EQ(run.log.back(), "varnook upload_log return:0");
  EXPECT_EQ(run.sdk, Lines{});
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, AnUnknownActionAfterUploadLogLeavesUploadLog) {
  const VarnookRun run = RunUpload({"-action", "someOtherWord"});
  EXPECT_EQ(run.sdk.size(), 11U);
}

TEST_F(CommandLineProcess, ALaterActionReplacesUploadLog) {
  const VarnookRun run = RunUpload({"-action", "init"});
  EXPECT_EQ(run.sdk, Lines{});
  EXPECT_EQ(run.log.back(), "varnook upload_log return:0");
}

TEST_F(CommandLineProcess, APlainWordBeforeAKeyIsPassedOverAlone) {
  const VarnookRun run = Run({"a", "-libp", "/x"});
  EXPECT_EQ(run.log,
            (Lines{"varnook upload_log", "SAT:Arg 2: -libp - /x", "varnook upload_log return:0"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, AKeyStandingLastIsIgnored) {
  const VarnookRun run = Run({"-action", "uploadLog", "-libp"});
  EXPECT_EQ(run.log, (Lines{"varnook upload_log", "SAT:Arg 1: -action - uploadLog",
                            "varnook LibraryPath was empty!"}));
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(CommandLineProcess, ALoneDashIsPassedOver) {
  const VarnookRun run = Run({"-", "-libp", "/x"});
  EXPECT_EQ(run.log,
            (Lines{"varnook upload_log", "SAT:Arg 2: -libp - /x", "varnook upload_log return:0"}));
}

TEST_F(CommandLineProcess, AnEmptyArgumentIsPassedOver) {
  const VarnookRun run = Run({"", "-libp", "/x", ""});
  EXPECT_EQ(run.log,
            (Lines{"varnook upload_log", "SAT:Arg 2: -libp - /x", "varnook upload_log return:0"}));
}

TEST_F(CommandLineProcess, AKeyAfterLibpIsTheLibraryPath) {
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", "-logp"});
  EXPECT_EQ(run.log,
            (Lines{"varnook upload_log", "SAT:Arg 1: -action - uploadLog",
                   "SAT:Arg 3: -libp - -logp", "varnook HandleActionUploadLog delay 0 sec. ",
                   NoFrameworkLine("-logp"), "varnook upload_log return:0"}));
}

TEST_F(CommandLineProcess, ADelayOf5xIsFiveSeconds) {
  RecordSleeps();
  const VarnookRun run = RunUpload({"-delay", "5x"});
  EXPECT_EQ(run.sleeps, Lines{"5"});
  EXPECT_EQ(run.log[4], "varnook HandleActionUploadLog delay 5 sec. ");
  EXPECT_EQ(run.sdk.size(), 11U);
}

TEST_F(CommandLineProcess, ADelayOfAbcIsNone) {
  RecordSleeps();
  const VarnookRun run = RunUpload({"-delay", "abc"});
  EXPECT_EQ(run.sleeps, Lines{});
  EXPECT_EQ(run.log[4], "varnook HandleActionUploadLog delay 0 sec. ");
}

TEST_F(CommandLineProcess, ANegativeDelayIsReadAsUnsigned) {
  RecordSleeps();
  const VarnookRun run = RunUpload({"-delay", "-3"});
  EXPECT_EQ(run.sleeps, Lines{"4294967293"});
  EXPECT_EQ(run.log[4], "varnook HandleActionUploadLog delay 18446744073709551613 sec. ");
}

TEST_F(CommandLineProcess, AnEmptyLibraryPathEndsEveryActionAtOnce) {
  for (const char* action : {"init", "uploadLog", "uploadCrash", "requestDump"}) {
    const VarnookRun run = Run({"-libp", LibraryDir(), "-action", action, "-libp", ""});
    EXPECT_EQ(run.log.back(), "varnook LibraryPath was empty!") << action;
    EXPECT_EQ(run.log.size(), 5U) << action;
    EXPECT_EQ(run.process.Ending(), "exit 0") << action;
  }
}

TEST_F(CommandLineProcess, TheOtherActionsDoNothing) {
  for (const char* action : {"init", "uploadCrash", "requestDump"}) {
    const VarnookRun run = Run({"-libp", LibraryDir(), "-action", action, "-delay", "9"});
    EXPECT_EQ(run.log.size(), 5U) << action;
    EXPECT_EQ(run.log.back(), "varnook upload_log return:0") << action;
    EXPECT_EQ(run.sdk, Lines{}) << action;
    EXPECT_EQ(run.process.Ending(), "exit 0") << action;
  }
}

TEST_F(CommandLineProcess, EveryValueArrivesInItsPlace) {
  const VarnookRun run =
      RunUpload({"-apid",  "app",      "-akid",   "key",    "-akscrt", "secret", "-sectkn", "token",
                 "-edpt",  "endpoint", "-bukt",   "bucket", "-logp",   "/logs",  "-seid",   "s",
                 "-ver",   "v",        "-ext",    "e",      "-pid",    "1",      "-tid",    "2",
                 "-ctype", "3",        "-exinfo", "4",      "-other",  "5"});
  EXPECT_EQ(run.sdk, (Lines{"loaded", "getUploadLogPrivate", "respondsToSelector:", "upload", "app",
                            "key", "secret", "token", "endpoint", "bucket", "/logs"}));
  EXPECT_EQ(run.log.size(), 1U + 17U + 4U);
}

TEST_F(CommandLineProcess, ALaterValueReplacesTheEarlier) {
  const VarnookRun run = RunUpload({"-apid", "first", "-apid", "second", "-apid", "third"});
  ASSERT_EQ(run.sdk.size(), 11U);
  EXPECT_EQ(run.sdk[4], "third");
}

TEST_F(CommandLineProcess, KeysAreComparedExactly) {
  const VarnookRun run =
      RunUpload({"-APID", "a", "--apid", "b", "-apid ", "c", "-api", "d", "-apidx", "e"});
  ASSERT_EQ(run.sdk.size(), 11U);
  EXPECT_EQ(run.sdk[4], "");
}

TEST_F(CommandLineProcess, AProgramPathWithADashIsAKey) {
  ASSERT_EQ(symlink(ORU_TEST_VARNOOK, dir_.Join("-libp").c_str()), 0);
  const VarnookRun run = RunArgv({"-libp", "/x", "-action", "init"});
  EXPECT_EQ(run.log, (Lines{"varnook upload_log", "SAT:Arg 0: -libp - /x",
                            "SAT:Arg 2: -action - init", "varnook upload_log return:0"}));
}

TEST_F(CommandLineProcess, StandardOutputStaysEmptyAndLinesCarryTimeAndProcess) {
  const VarnookRun run = Run({});
  EXPECT_EQ(run.process.out, "");
  for (const std::string& line : SplitLines(run.process.err)) {
    EXPECT_NE(line, WithoutLogPrefix(line));
  }
}

}  // namespace
}  // namespace oru_test
