// Arguments and environments that no one should pass, seen from outside the process.
#include <fcntl.h>
#include <unistd.h>

#include "tests/helper/varnook_process.h"

namespace oru_test {
namespace {

using Lines = std::vector<std::string>;

class BadInput : public VarnookTest {
 protected:
  void SetUp() override {
    VarnookTest::SetUp();
    InstallFramework(ORU_TEST_SDK);
  }
};

std::string EveryByte() {
  std::string text;
  for (int byte = 1; byte < 256; ++byte) text += static_cast<char>(byte);
  return text;
}

TEST_F(BadInput, AnArgumentThatIsNotUtf8ArrivesUnchanged) {
  const VarnookRun run = RunUpload({"-apid", "a\xff\xfe(", "-logp", "/l\xe9g"});
  ASSERT_EQ(run.sdk.size(), 11U) << run.process.err;
  EXPECT_EQ(run.sdk[4], "a\xff\xfe(");
  EXPECT_EQ(run.sdk[10], "/l\xe9g");
  EXPECT_EQ(run.log[3], "SAT:Arg 5: -apid - a\\xFF\\xFE(");
  EXPECT_EQ(run.log[4], "SAT:Arg 7: -logp - /l\\xE9g");
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(BadInput, EveryByteArrivesUnchanged) {
  const VarnookRun run = RunUpload({"-akscrt", EveryByte()});
  ASSERT_EQ(run.sdk.size(), 11U) << run.process.err;
  EXPECT_EQ(run.sdk[6], EveryByte());
}

TEST_F(BadInput, AKeyThatIsNotUtf8ConsumesItsValue) {
  const VarnookRun run = Run({"-\xff", "-libp", "-libp", "/x"});
  EXPECT_EQ(run.log, (Lines{"varnook upload_log", "SAT:Arg 1: -\\xFF - -libp",
                            "SAT:Arg 3: -libp - /x", "varnook upload_log return:0"}));
}

TEST_F(BadInput, ABackslashIsDoubledOnlyBesideAByteThatIsNotUtf8) {
  const VarnookRun run = Run({"-apid", "a\\b", "-bukt", "a\\b\xff"});
  EXPECT_EQ(run.log[1], "SAT:Arg 1: -apid - a\\b");
  EXPECT_EQ(run.log[2], "SAT:Arg 3: -bukt - a\\\\b\\xFF");
}

TEST_F(BadInput, AnEnvironmentValueThatIsNotUtf8ReachesTheFrameworkUnchanged) {
  options_.env["ORU_TEST_RECORD"] = dir_.Join("rec\xff");
  options_.env["ORU_\xfe"] = "\x80";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(run.process.Ending(), "exit 0") << run.process.err;
  EXPECT_TRUE(PathExists(dir_.Join("rec\xff")));
}

TEST_F(BadInput, AFrameworkThatAsksFoundationForArgumentsGetsThem) {
  options_.env["ORU_TEST_SDK_MODE"] = "process-info";
  options_.env["ORU_TEST_TEXT"] = "e\xff";
  options_.env["ORU_OTHER\xfe"] = "\xff";
  const VarnookRun run = RunUpload({"-apid", "\xc3\xa9\xff("});
  ASSERT_EQ(run.sdk.size(), 14U) << run.process.err;
  EXPECT_EQ(run.sdk[3], std::string(3, '?') + "(");
  EXPECT_EQ(run.sdk[4], "e?");
  EXPECT_EQ(run.sdk[5], "e\xff");
  EXPECT_EQ(run.sdk[7], "\xc3\xa9\xff(");
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(BadInput, AHomeThatIsNotUtf8IsInTheDefaultLogPath) {
  options_.env["HOME"] = "/h\xe9me/\xff";
  const VarnookRun run = RunUpload();
  ASSERT_EQ(run.sdk.size(), 11U) << run.process.err;
  EXPECT_EQ(run.sdk[10], "/h\xe9me/\xff/Documents/Oru_RTC_Log/");
}

TEST_F(BadInput, AProgramPathThatIsNotUtf8Runs) {
  ASSERT_EQ(symlink(ORU_TEST_VARNOOK, dir_.Join("\xffname").c_str()), 0);
  const VarnookRun run = RunArgv({dir_.Join("\xffname"), "-libp", "/x"});
  EXPECT_EQ(run.process.Ending(), "exit 0");
  ASSERT_EQ(run.log.size(), 3U) << run.process.err;
  EXPECT_EQ(WithoutLogPrefix(SplitLines(run.process.err)[1], "\\xFFname"), "SAT:Arg 1: -libp - /x");
}

TEST_F(BadInput, ALibraryPathThatIsNotUtf8IsMissing) {
  ASSERT_EQ(rename(LibraryDir().c_str(), dir_.Join("l\xff").c_str()), 0);
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", dir_.Join("l\xff")});
  EXPECT_EQ(run.log[4],
            "varnook \"" + dir_.path() + "/l\\xFF/OruRTCSdk.framework\" sdk was not exist!");
  EXPECT_EQ(run.log.back(), "varnook upload_log return:0");
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(BadInput, ALibraryPathThatIsNotUtf8IsNotTakenForItsTextInTheLog) {
  ASSERT_EQ(rename(LibraryDir().c_str(), dir_.Join("l\\xFF").c_str()), 0);
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", dir_.Join("l\xff")});
  EXPECT_EQ(run.sdk, Lines{});
}

TEST_F(BadInput, ALibraryPathOutsideFoundationsOwnEncodingIsOnlyMissing) {
  options_.env["GNUSTEP_STRING_ENCODING"] = "NSASCIIStringEncoding";
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", "/l\u00efb \u2603"});
  EXPECT_EQ(run.log.back(), "varnook upload_log return:0");
  ASSERT_EQ(run.log.size(), 6U) << run.process.err;
  EXPECT_EQ(run.log[4], "varnook \"/l\u00efb \u2603/OruRTCSdk.framework\" sdk was not exist!");
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(BadInput, AByteOrderMarkIsPartOfAValue) {
  const std::string mark = "\xef\xbb\xbf";
  ASSERT_EQ(rename(LibraryDir().c_str(), dir_.Join(mark + "lib").c_str()), 0);
  const VarnookRun run =
      Run({"-action", "uploadLog", "-libp", mark + "lib", "-apid", mark + mark + "app"});
  EXPECT_EQ(run.log[2], "SAT:Arg 3: -libp - " + mark + "lib");
  EXPECT_EQ(run.log[3], "SAT:Arg 5: -apid - " + mark + mark + "app");
  ASSERT_EQ(run.sdk.size(), 11U) << run.process.err;
  EXPECT_EQ(run.sdk[4], mark + mark + "app");
}

TEST_F(BadInput, PercentSignsAreText) {
  const std::string text = "%s%n%@%d%%%1000000s%";
  const VarnookRun run = RunUpload({"-bukt", text, "-" + text, text});
  ASSERT_EQ(run.sdk.size(), 11U) << run.process.err;
  EXPECT_EQ(run.sdk[9], text);
  EXPECT_EQ(run.log[3], "SAT:Arg 5: -bukt - " + text);
  EXPECT_EQ(run.log[4], "SAT:Arg 7: -" + text + " - " + text);
}

TEST_F(BadInput, PercentSignsInTheLibraryPathAreText) {
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", "/x%@%s%n"});
  EXPECT_EQ(run.log[4], "varnook \"/x%@%s%n/OruRTCSdk.framework\" sdk was not exist!");
}

TEST_F(BadInput, ValuesOf100KilobytesPass) {
  const std::string value(100000, 'v');
  const VarnookRun run = RunUpload({"-akid", value, "-sectkn", value + "\xff"});
  ASSERT_EQ(run.sdk.size(), 11U) << run.process.err.substr(0, 1000);
  EXPECT_EQ(run.sdk[5], value);
  EXPECT_EQ(run.sdk[7], value + "\xff");
  EXPECT_EQ(run.log[3], "SAT:Arg 5: -akid - " + value);
  EXPECT_EQ(run.log[4], "SAT:Arg 7: -sectkn - " + value + "\\xFF");
}

TEST_F(BadInput, LongLinesPassThroughAnErrorOutputThatDoesNotBlock) {
  options_.before = [] { fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK); };
  const std::string value(100000, 'v');
  const VarnookRun run = Run({"-apid", value, "-bukt", value, "-edpt", value, "-libp", "/x"});
  EXPECT_EQ(run.log, (Lines{"varnook upload_log", "SAT:Arg 1: -apid - " + value,
                            "SAT:Arg 3: -bukt - " + value, "SAT:Arg 5: -edpt - " + value,
                            "SAT:Arg 7: -libp - /x", "varnook upload_log return:0"}));
}

TEST_F(BadInput, ALibraryPathOf100KilobytesIsMissing) {
  const std::string path(100000, 'p');
  const VarnookRun run = Run({"-action", "uploadLog", "-libp", path});
  EXPECT_EQ(run.log[4], "varnook \"" + path + "/OruRTCSdk.framework\" sdk was not exist!");
  EXPECT_EQ(run.process.Ending(), "exit 0");
}

TEST_F(BadInput, ArgumentsThatLookLikeFoundationDefaultsOnlyCountAsPairs) {
  const VarnookRun run = Run({"-GSLogSyslog", "YES", "-GSLogThread", "YES", "-NSLanguages", "(",
                              "--GNU-Debug=NSLog", "{", "-libp", "/x"});
  EXPECT_EQ(run.log, (Lines{"varnook upload_log", "SAT:Arg 1: -GSLogSyslog - YES",
                            "SAT:Arg 3: -GSLogThread - YES", "SAT:Arg 5: -NSLanguages - (",
                            "SAT:Arg 7: --GNU-Debug=NSLog - {", "SAT:Arg 9: -libp - /x",
                            "varnook upload_log return:0"}));
}

TEST_F(BadInput, AnEmptyArgumentVectorLogsAnEmptyLibraryPath) {
  options_.before = [] {
    char* const none[] = {nullptr};
    char* const environment[] = {nullptr};
    execve(ORU_TEST_VARNOOK, none, environment);
  };
  const ChildResult result = RunChild({ORU_TEST_VARNOOK}, options_);
  EXPECT_EQ(result.Ending(), "exit 0") << result.err;
  EXPECT_NE(result.err.find("varnook LibraryPath was empty!"), std::string::npos);
}

TEST_F(BadInput, AClosedStandardErrorDoesNotKeepTheUploadBack) {
  options_.before = [] { close(STDERR_FILENO); };
  options_.env["ORU_TEST_STATUS"] = "4";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(run.process.Ending(), "exit 4");
  EXPECT_EQ(run.sdk.size(), 11U);
}

TEST_F(BadInput, WithoutStandardErrorNoArgumentReachesTheSystemLog) {
  RecordSleeps();
  options_.env["ORU_TEST_SYSTEM_LOG"] = dir_.Join("system_log");
  options_.before = [] { close(STDERR_FILENO); };
  RunUpload({"-akscrt", "the-secret"});
  Lines lines;
  for (const std::string& line : SplitLines(ReadFile(dir_.Join("system_log")))) {
    lines.push_back(WithoutLogPrefix(line));
  }
  EXPECT_EQ(lines, (Lines{"varnook upload_log", "varnook HandleActionUploadLog delay 0 sec. ",
                          "varnook the framework load success!",
                          "varnook uploadLogPrivate return: 0", "varnook upload_log return:0"}));
}

TEST_F(BadInput, AReaderOfStandardErrorThatIsGoneDoesNotKeepTheUploadBack) {
  options_.before = [] {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0) _exit(125);
    close(ends[0]);
    close(ends[1]);
  };
  options_.env["ORU_TEST_STATUS"] = "4";
  const VarnookRun run = RunUpload();
  EXPECT_EQ(run.process.Ending(), "exit 4");
  EXPECT_EQ(run.sdk.size(), 11U);
}

TEST_F(BadInput, AVanishedWorkingFolderOnlyMattersToRelativePaths) {
  options_.before = [this] {
    const std::string gone = dir_.Join("gone");
    MakeDirs(gone);
    if (chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0) _exit(125);
  };
  EXPECT_EQ(RunUpload().sdk.size(), 11U);
  const VarnookRun relative = Run({"-action", "uploadLog", "-libp", "lib"});
  EXPECT_EQ(relative.log[4], "varnook \"lib/OruRTCSdk.framework\" sdk was not exist!");
}

}  // namespace
}  // namespace oru_test
