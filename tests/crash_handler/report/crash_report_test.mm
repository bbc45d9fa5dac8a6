#include "media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report.h"

#include <gtest/gtest.h>
#include <objc/runtime.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <regex>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_report_text.h"
#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/dying/crash_state.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "tests/crash_handler/support/log_capture.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using oru_test::CrashReportText;
using oru_test::LogCapture;
using oru_test::TempDir;
using Texts = std::vector<std::string>;

const char kFound[] = "1 OruRTCCrashReport::find sdk symbols";
const char kNotFound[] = "1 OruRTCCrashReport::not find sdk symbols, ignore it";

std::string Utf8(NSString* text) { return text == nil ? "(nil)" : [text UTF8String]; }

NSArray* Symbols(const Texts& texts) {
  NSMutableArray* symbols = [NSMutableArray array];
  for (const std::string& text : texts) [symbols addObject:@(text.c_str())];
  return symbols;
}

NSDictionary* InfoWithANumber(id, SEL) {
  return [NSDictionary dictionaryWithObject:[NSNumber numberWithInt:42]
                                     forKey:@"CFBundleDisplayName"];
}

class CrashReportTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
    pool_ = [[NSAutoreleasePool alloc] init];
    config_ = [[[OruRTCCrashConfig alloc] init] autorelease];
    config_.crashThreadId = 77;
    config_.appId = @"A1";
    config_.sessionId = @"S1";
    config_.sdkVersion = @"6.1.0";
    config_.crashFileSavePath = @(dir_.path().c_str());
    config_.crashFilter = [NSMutableArray arrayWithObject:@"OruRTC"];
  }
  void TearDown() override { [pool_ drain]; }

  OruRTCCrashReport* Report() {
    return [[[OruRTCCrashReport alloc] initWithCrashConfig:config_] autorelease];
  }
  BOOL Includes(const Texts& symbols) { return [Report() isSymbolsInclude:Symbols(symbols)]; }
  // The one report written; a test failure and "" when there is none or more.
  std::string OnlyFile() {
    const Texts files = oru_test::ListFilesRecursively(dir_.path());
    EXPECT_EQ(files.size(), 1U);
    return files.size() == 1 ? files[0] : "";
  }
  CrashReportText ReadBack() {
    CrashReportText report = oru_test::ParseCrashReport(oru_test::ReadFile(dir_.Join(OnlyFile())));
    EXPECT_EQ(report.error, "");
    return report;
  }

  TempDir dir_;
  NSAutoreleasePool* pool_ = nil;
  OruRTCCrashConfig* config_ = nil;
};

TEST_F(CrashReportTest, FilterMatchAtFrameZeroAloneIsNoMatch) {
  const LogCapture log;
  EXPECT_FALSE(Includes({"OruRTCEngineStart", "main"}));
  EXPECT_EQ(log.Texts(),
            (Texts{"1 Crash stack: OruRTCEngineStart", "1 Crash stack: main", kNotFound}));
}

TEST_F(CrashReportTest, SdkFunctionAtIndexThreeMatchesAndEndsTheSearch) {
  const LogCapture log;
  EXPECT_TRUE(Includes({"a", "b", "c", "lib(OruRTCEngineStart+0x1)", "later"}));
  EXPECT_EQ(log.Texts(), (Texts{"1 Crash stack: a", "1 Crash stack: b", "1 Crash stack: c",
                                "1 Crash stack: lib(OruRTCEngineStart+0x1)", kFound}));
  EXPECT_EQ(log.lines()[0].tag, "Crash_Handler");
  EXPECT_NE(
      log.lines()[0].file.find("media_core/biz_engine/crash_handler/darwin/Oru_RTC_Crash_Report"),
      std::string::npos);
}

TEST_F(CrashReportTest, TheModulesOwnFramesAreNoMatch) {
  EXPECT_FALSE(Includes({"0", "OruRTCSignalCatchHandler"}));
  EXPECT_FALSE(Includes({"0", "-[OruRTCCrashReport isSymbolsInclude:]"}));
  EXPECT_FALSE(Includes({"0", "OruRTCTerminateCatchHandler"}));
  EXPECT_FALSE(Includes({"0", "_ZN12CrashHandler22OruRTCExceptionHandlerEP11NSException"}));
  EXPECT_FALSE(Includes({"0", "OruRTCEngine calls OruRTCSignalCatchHandler"}));
}

TEST_F(CrashReportTest, TheNewHandlersFrameIsNotExcluded) {
  EXPECT_TRUE(Includes({"0", "OruRTCNewFailedCatchHandler"}));
}

TEST_F(CrashReportTest, OwnFrameDoesNotHideALaterSdkFrame) {
  EXPECT_TRUE(Includes({"0", "OruRTCSignalCatchHandler", "OruRTCEngine"}));
}

TEST_F(CrashReportTest, FilterIsCaseSensitive) { EXPECT_FALSE(Includes({"0", "orurtcengine"})); }

TEST_F(CrashReportTest, FilterWordInTheImagePathMatches) {
  EXPECT_TRUE(Includes({"0", "/x/OruRTCSdk.framework/OruRTCSdk(+0x10) [0x1]"}));
}

TEST_F(CrashReportTest, FilterWordSplitByComposedCharactersIsNoMatch) {
  EXPECT_FALSE(Includes({"0", "Oru\xcc\x81RTC"}));
}

TEST_F(CrashReportTest, EmptySymbolsAreNoMatch) {
  const LogCapture log;
  EXPECT_FALSE(Includes({}));
  EXPECT_EQ(log.Texts(), Texts{kNotFound});
}

TEST_F(CrashReportTest, EmptyFilterListNeverMatches) {
  config_.crashFilter = [NSMutableArray array];
  EXPECT_FALSE(Includes({"0", "OruRTCEngine", ""}));
}

TEST_F(CrashReportTest, AddedFilterMatches) {
  OruRTCCrashReport* report = Report();
  [report addCrashFilter:@"Other"];
  EXPECT_TRUE([report isSymbolsInclude:Symbols({"0", "xOtherx"})]);
}

TEST_F(CrashReportTest, AddedDuplicateFilterIsKept) {
  OruRTCCrashReport* report = Report();
  [report addCrashFilter:@"OruRTC"];
  EXPECT_EQ([report.crashFilterArray count], 2U);
}

TEST_F(CrashReportTest, RemovingTheLastFilterReturns) {
  OruRTCCrashReport* report = Report();
  [report removeCrashFilter:@"OruRTC"];
  EXPECT_EQ([report.crashFilterArray count], 0U);
}

TEST_F(CrashReportTest, RemovingAnAbsentFilterReturns) {
  OruRTCCrashReport* report = Report();
  [report removeCrashFilter:@"absent"];
  EXPECT_EQ([report.crashFilterArray count], 1U);
}

TEST_F(CrashReportTest, RemovingAFilterThatIsNotTheLastRaises) {
  OruRTCCrashReport* report = Report();
  [report addCrashFilter:@"b"];
  [report addCrashFilter:@"c"];
  NSString* raised = nil;
  @try {
    [report removeCrashFilter:@"OruRTC"];
  } @catch (NSException* exception) {
    raised = [exception name];
  }
  EXPECT_EQ(Utf8(raised), "NSGenericException");
  EXPECT_EQ([report.crashFilterArray count], 2U) << "removed before the walk noticed";
}

TEST_F(CrashReportTest, ConfigurationIsTakenOver) {
  config_.infoString = @"note";
  OruRTCCrashReport* report = Report();
  EXPECT_EQ(report.config, config_);
  EXPECT_EQ(report.crashThreadId, 77U);
  EXPECT_EQ(Utf8(report.infoString), "note");
  EXPECT_EQ(Utf8(report.crashFloderPath), dir_.path());
  EXPECT_NE(report.crashFilterArray, config_.crashFilter);
  EXPECT_TRUE([report.crashFilterArray isEqual:config_.crashFilter]);
}

TEST_F(CrashReportTest, NilFilterGivesAnEmptyList) {
  config_.crashFilter = nil;
  EXPECT_NE(Report().crashFilterArray, nil);
  EXPECT_EQ([Report().crashFilterArray count], 0U);
}

TEST_F(CrashReportTest, NilInfoGivesAnEmptyString) {
  config_.infoString = nil;
  EXPECT_EQ(Utf8(Report().infoString), "");
}

TEST_F(CrashReportTest, InfoIsAppended) {
  config_.infoString = @"a";
  OruRTCCrashReport* report = Report();
  [report addCrashInfo:@"b"];
  [report addCrashInfo:@"c"];
  EXPECT_EQ(Utf8(report.infoString), "abc");
}

TEST_F(CrashReportTest, BaseDirectoryIsCreatedWithMissingOnesAbove) {
  config_.crashFileSavePath = @(dir_.Join("a/b/c").c_str());
  Report();
  EXPECT_TRUE(oru_test::PathExists(dir_.Join("a/b/c")));
}

TEST_F(CrashReportTest, DestroyDoesNothing) {
  OruRTCCrashReport* report = Report();
  [report destroy];
  EXPECT_EQ([report.crashFilterArray count], 1U);
}

TEST_F(CrashReportTest, FileNameHasIdentityKindAndLocalTime) {
  setenv("TZ", "IST-5:30", 1);
  tzset();
  const time_t before = time(nullptr);
  const std::string path = Utf8([Report() getCrashFilePath:@"ignored" crashType:@"Signal"]);
  const std::string pattern = dir_.path() +
                              "/6\\.1\\.0/Crash_A1_S1_Signal_([0-9]{4})-([0-9]{2})-([0-9]{2})-"
                              "([0-9]{2})-([0-9]{2})-([0-9]{2})\\.log";
  std::smatch match;
  ASSERT_TRUE(std::regex_match(path, match, std::regex(pattern))) << path;
  tm parts = {};
  parts.tm_year = std::stoi(match[1]) - 1900;
  parts.tm_mon = std::stoi(match[2]) - 1;
  parts.tm_mday = std::stoi(match[3]);
  parts.tm_hour = std::stoi(match[4]);
  parts.tm_min = std::stoi(match[5]);
  parts.tm_sec = std::stoi(match[6]);
  const time_t named = mktime(&parts);
  EXPECT_GE(named, before);
  EXPECT_LE(named, time(nullptr));
  EXPECT_TRUE(oru_test::PathExists(dir_.Join("6.1.0")));
}

TEST_F(CrashReportTest, FileNameParsesBackIntoItsFields) {
  const std::string path = Utf8([Report() getCrashFilePath:@"" crashType:@"Exception"]);
  std::string app;
  std::string session;
  std::string kind;
  std::string when;
  ASSERT_TRUE(
      ParseCrashInfoFromFileName(path.substr(path.rfind('/') + 1), &app, &session, &kind, &when));
  EXPECT_EQ(app, "A1");
  EXPECT_EQ(session, "S1");
  EXPECT_EQ(kind, "Exception");
  EXPECT_EQ(when.size(), std::string("2024-03-05-07-08-09").size());
}

TEST_F(CrashReportTest, NilIdentityGivesTwoUnderscoresInARow) {
  config_.appId = nil;
  config_.sessionId = nil;
  const std::string path = Utf8([Report() getCrashFilePath:@"" crashType:@"Signal"]);
  EXPECT_NE(path.find("/Crash___Signal_"), std::string::npos) << path;
}

TEST_F(CrashReportTest, UpdatedIdentityCountsForLaterNames) {
  OruRTCCrashReport* report = Report();
  [report updateAppId:@"B"];
  [report updateSessionId:@"T"];
  const std::string path = Utf8([report getCrashFilePath:@"" crashType:@"Signal"]);
  EXPECT_NE(path.find("/Crash_B_T_Signal_"), std::string::npos) << path;
}

TEST_F(CrashReportTest, PercentSignsInTheIdentityAreNoFormat) {
  config_.appId = @"50%@%s%n";
  const std::string path = Utf8([Report() getCrashFilePath:@"" crashType:@"Signal"]);
  EXPECT_NE(path.find("/Crash_50%@%s%n_S1_"), std::string::npos) << path;
}

TEST_F(CrashReportTest, EmptyVersionPutsReportsIntoTheBaseDirectory) {
  config_.sdkVersion = @"";
  [Report() reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
  EXPECT_EQ(OnlyFile().find('/'), std::string::npos);
}

TEST_F(CrashReportTest, CrashOutsideTheSdkLeavesNoFile) {
  OruRTCCrashReport* report = Report();
  [report reportCrashWithSignal:11 info:nullptr context:nullptr symbols:Symbols({"0", "main"})];
  [report reportCrashWithSymbols:Symbols({"0", "main"})];
  [report reportCrashWithException:[NSException exceptionWithName:@"N" reason:@"R" userInfo:nil]];
  EXPECT_EQ(oru_test::ListDir(dir_.path()), Texts{});
}

// Its exception's words may be gone by then.
TEST_F(CrashReportTest, NothingIsRescuedOfACrashThatTheFilterPassesOver) {
  OruRTCCrashReport* report = Report();
  NSArray* symbols = Symbols({"0", "main"});
  ASSERT_TRUE(TakeCrash());
  BeginCrashReport(SIGABRT, Signal);
  [report reportCrashWithSignal:11 info:nullptr context:nullptr symbols:symbols];
  EXPECT_FALSE(RescueReport());
  BeginCrashReport(SIGABRT, MemoryError);
  [report reportCrashWithSymbols:symbols];
  EXPECT_FALSE(RescueReport());
  BeginCrashReport(SIGABRT, Exception);
  [report reportCrashWithException:[NSException exceptionWithName:@"N" reason:@"R" userInfo:nil]];
  EXPECT_FALSE(RescueReport());
  GiveCrashBack();
}

TEST_F(CrashReportTest, SignalReportHasNoExceptionSectionAndNoSignalNumber) {
  config_.crashThreadId = 1;
  [Report() reportCrashWithSignal:1234567
                             info:nullptr
                          context:nullptr
                          symbols:Symbols({"f0", "OruRTC f1", "f2"})];
  EXPECT_NE(OnlyFile().find("_Signal_"), std::string::npos);
  const CrashReportText report = ReadBack();
  EXPECT_FALSE(report.exception.has_value());
  EXPECT_EQ(report.crash_frames, (Texts{"f0", "OruRTC f1", "f2"}));
  EXPECT_EQ(oru_test::ReadFile(dir_.Join(OnlyFile())).find("1234567"), std::string::npos);
}

TEST_F(CrashReportTest, SymbolReportIsAMemoryError) {
  [Report() reportCrashWithSymbols:Symbols({"f0", "OruRTC f1"})];
  EXPECT_EQ(OnlyFile().rfind("6.1.0/Crash_A1_S1_MemoryError_", 0), 0U);
  EXPECT_FALSE(ReadBack().exception.has_value());
}

// Records what the text generator is asked for, and an exception without a reason.
}  // namespace
}  // namespace CrashHandler

@interface SilentException : NSException
@end
@implementation SilentException
- (NSString*)reason {
  return nil;
}
@end

@interface RecordingReport : OruRTCCrashReport {
 @public
  int askedSignal;
}
@end
@implementation RecordingReport
- (NSString*)generateReporterWithSignal:(int)signal symbols:(NSArray*)symbols {
  (void)symbols;
  askedSignal = signal;
  return @"text";
}
@end

namespace CrashHandler {
namespace {

TEST_F(CrashReportTest, SymbolReportPassesSignalZeroToTheText) {
  RecordingReport* report = [[[RecordingReport alloc] initWithCrashConfig:config_] autorelease];
  report->askedSignal = -1;
  [report reportCrashWithSymbols:Symbols({"f0", "OruRTC f1"})];
  EXPECT_EQ(report->askedSignal, 0);
  [report reportCrashWithSignal:8 info:nullptr context:nullptr symbols:Symbols({"", "OruRTC"})];
  EXPECT_EQ(report->askedSignal, 8);
}

NSException* RaisedException() {
  @try {
    [NSException raise:@"MyName" format:@"my reason"];
  } @catch (NSException* exception) {
    return exception;
  }
  return nil;
}

TEST_F(CrashReportTest, ExceptionReportTellsNameReasonAndTheExceptionsFrames) {
  // Any frame of the exception counts as the SDK's.
  config_.crashFilter = [NSMutableArray arrayWithObject:@"["];
  NSException* exception = RaisedException();
  [Report() reportCrashWithException:exception];
  EXPECT_EQ(OnlyFile().rfind("6.1.0/Crash_A1_S1_Exception_", 0), 0U);
  const CrashReportText report = ReadBack();
  EXPECT_EQ(report.exception,
            "*** Terminating app due to uncaught exception 'MyName', reason: 'my reason'");
  ASSERT_EQ(report.crash_frames.size(), [[exception callStackSymbols] count]);
  EXPECT_GT(report.crash_frames.size(), 2U);
  EXPECT_EQ(report.crash_frames[0], Utf8([[exception callStackSymbols] objectAtIndex:0]));
}

TEST_F(CrashReportTest, HeaderTellsTheMachineAndTheReportDirectory) {
  [Report() reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
  const CrashReportText report = ReadBack();
  EXPECT_EQ(report.hardware_model, "x86_64");
  EXPECT_EQ(report.code_type, "x86_64");
  EXPECT_EQ(report.process, "");
  EXPECT_EQ(report.path, dir_.path());
  EXPECT_EQ(report.crash_thread, 77);
  EXPECT_TRUE(std::regex_match(
      report.date_time,
      std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{3}")))
      << report.date_time;
}

TEST_F(CrashReportTest, CrashThreadIsPrintedSigned) {
  config_.crashThreadId = 0xffffffffU;
  EXPECT_NE(Utf8([Report() generateCommonString]).find("Crash Thread:      -1\n"),
            std::string::npos);
}

TEST_F(CrashReportTest, HeaderSpacingIsExact) {
  OruRTCCrashReport* report = Report();
  const std::string text = Utf8([report generateCommonString]);
  const std::string date = text.substr(text.find("Date/Time:"), 43);
  EXPECT_EQ(text,
            "Harware Model:     x86_64\nProcess:           \nPath:              " + dir_.path() +
                "\nCode Type:         x86_64\n" + date + "Crash Thread:      77\n");
}

TEST_F(CrashReportTest, EmptyInfoEndsTheReportWithTheSectionAndOneMoreLineEnd) {
  const std::string text = Utf8([Report() generateReporterWithSignal:0 symbols:Symbols({"f"})]);
  const std::string end = "\n\nUserCustomInfo:\n\n";
  ASSERT_GT(text.size(), end.size());
  EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST_F(CrashReportTest, InfoStandsAtTheEndAsItIs) {
  config_.infoString = @"line 1\nüñí 100%@\n";
  const std::string text = Utf8([Report() generateReporterWithSignal:0 symbols:Symbols({"f"})]);
  const std::string end = "UserCustomInfo:\nline 1\nüñí 100%@\n\n";
  EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST_F(CrashReportTest, EveryImageIsCalledArm64OnA64BitMachine) {
  [Report() reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
  const CrashReportText report = ReadBack();
  EXPECT_GT(report.images.size(), 5U);
  for (const auto& image : report.images) EXPECT_EQ(image.arch, "arm64");
}

TEST_F(CrashReportTest, ReportIsReplacedByOneOfTheSameName) {
  oru_test::MakeDirs(dir_.Join("6.1.0"));
  OruRTCCrashReport* report = Report();
  NSString* path = [report getCrashFilePath:@"" crashType:@"MemoryError"];
  oru_test::WriteFile(Utf8(path), std::string(3000000, 'x'));
  [report reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
  // Both fall into one second but for a rare change of it in between.
  for (const std::string& name : oru_test::ListFilesRecursively(dir_.path())) {
    EXPECT_EQ(name.substr(name.size() - 4), ".log") << "no temporary file is left";
  }
}

TEST_F(CrashReportTest, UnwritableDirectoryLosesTheReportSilently) {
  oru_test::WriteFile(dir_.Join("6.1.0"), "a file in the place of the directory");
  const LogCapture log;
  [Report() reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
  EXPECT_EQ(OnlyFile(), "6.1.0");
  EXPECT_EQ(log.Texts().back(), kFound);
}

TEST_F(CrashReportTest, TextThatIsNotUtf8IsTakenAsLatin1) {
  EXPECT_EQ(Utf8(TextFromBytes("a\xff", 2)), "a\xc3\xbf");
  EXPECT_EQ(Utf8(TextFromBytes("\xc3\xbf", 2)), "\xc3\xbf");
  EXPECT_EQ(Utf8(TextFromBytes("", 0)), "");
}

// Whatever the bytes are, there is text: a piece of a report is never lost.
TEST_F(CrashReportTest, TextIsNeverNil) {
  const std::string texts[] = {"\xed\xa0\x80",     "\xed\xbf\xbf",     "\xef\xbf\xbe",
                               "\xef\xbf\xbf",     "\xf4\x8f\xbf\xbf", "\xf4\x90\x80\x80",
                               "\xf8\x88\x80\x80", "\xc0\x80",         "\xe2\x82",
                               "\xf0\x9f\x98\x80", "a\xed\xa0\x80z",   "\xff\xfe"};
  for (const std::string& bytes : texts) {
    NSString* text = TextFromBytes(bytes);
    ASSERT_NE(text, nil) << testing::PrintToString(bytes);
    EXPECT_FALSE(BytesOfText(text).empty()) << testing::PrintToString(bytes);
  }
}

TEST_F(CrashReportTest, HalfASurrogatePairBecomesTheReplacementCharacter) {
  constexpr unichar kHigh = 0xD83D;
  constexpr unichar kLow = 0xDE00;
  const auto read = [](NSString* before, std::vector<unichar> units, NSString* after) {
    NSMutableString* text = [NSMutableString stringWithString:before];
    for (const unichar unit : units) [text appendFormat:@"%C", unit];
    [text appendString:after];
    return BytesOfText(text);
  };
  EXPECT_EQ(read(@"a", {kHigh}, @"b"), "a\uFFFDb");
  EXPECT_EQ(read(@"a", {kLow}, @"b"), "a\uFFFDb");
  EXPECT_EQ(read(@"", {kHigh}, @""), "\uFFFD");
  EXPECT_EQ(read(@"", {kHigh, kHigh, kLow}, @""), "\uFFFD\U0001F600");
  EXPECT_EQ(read(@"", {kLow, kHigh}, @""), "\uFFFD\uFFFD");
  // Half of the pair is in the next piece.
  NSString* many = [@"" stringByPaddingToLength:1023 withString:@"x" startingAtIndex:0];
  EXPECT_EQ(read(many, {kHigh, kLow}, @""), std::string(1023, 'x') + "\U0001F600");
  EXPECT_EQ(read(many, {kHigh}, @"b"), std::string(1023, 'x') + "\uFFFDb");
}

TEST_F(CrashReportTest, HalvesOfPairsInAllWordsOfTheHostLoseNothing) {
  NSString* text = [NSString stringWithFormat:@"a%C", static_cast<unichar>(0xD800)];
  config_.appId = text;
  config_.sessionId = text;
  config_.infoString = text;
  [Report() reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
  EXPECT_EQ(OnlyFile().rfind("6.1.0/Crash_a\uFFFD_a\uFFFD_MemoryError_", 0), 0U) << OnlyFile();
  EXPECT_EQ(ReadBack().custom_info, "a\uFFFD");
}

TEST_F(CrashReportTest, ANilReasonIsShownAsFoundationShowsIt) {
  // Some systems put words of their own there.
  NSException* exception = [[[SilentException alloc] initWithName:@"N" reason:nil
                                                         userInfo:nil] autorelease];
  const std::string text = Utf8([Report() generateReporterWithException:exception]);
  EXPECT_NE(text.find("uncaught exception 'N', reason: '(null)'\n"), std::string::npos) << text;
}

// A display name that is no string.
TEST_F(CrashReportTest, ADisplayNameOfAnyKindIsShown) {
  const Method method = class_getInstanceMethod([NSBundle class], @selector(infoDictionary));
  const IMP own = method_setImplementation(method, reinterpret_cast<IMP>(&InfoWithANumber));
  const std::string name = Utf8([Report() getAppDisplayName]);
  const std::string header = Utf8([Report() generateCommonString]);
  const std::string prepared = PrepareReportText();
  method_setImplementation(method, own);
  EXPECT_EQ(name, "42");
  EXPECT_NE(header.find("Process:           42\n"), std::string::npos) << header;
  EXPECT_EQ(prepared, "42");
}

// The file's name and the header, digits only, without the milliseconds.
void ExpectOneZone(const std::string& name, const std::string& date_time) {
  const auto digits = [](std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return isdigit(c) == 0; }),
               text.end());
    return text.substr(0, 12);  // to the minute
  };
  const std::string when = name.substr(name.rfind('_') + 1);
  EXPECT_EQ(digits(when), digits(date_time)) << name << " and " << date_time;
}

TEST_F(CrashReportTest, HeaderAndNameHaveOneZone) {
  for (const char* zone : {"UTC", "XYZ-9:30", "ABC+5", "Europe/Berlin"}) {
    for (const int foundation : {0, -11 * 3600, 14 * 3600}) {
      setenv("TZ", zone, 1);
      tzset();
      [NSTimeZone setDefaultTimeZone:[NSTimeZone timeZoneForSecondsFromGMT:foundation]];
      // Not in the last seconds of a minute.
      while (time(nullptr) % 60 > 55) usleep(100000);
      [Report() reportCrashWithSymbols:Symbols({"0", "OruRTC"})];
      ExpectOneZone(OnlyFile(), ReadBack().date_time);
      unlink(dir_.Join(OnlyFile()).c_str());
    }
  }
  [NSTimeZone setDefaultTimeZone:[NSTimeZone timeZoneForSecondsFromGMT:0]];
}

class CreatedReportTest : public CrashReportTest {
 protected:
  void Configure(const char* app, const char* session, const char* version, const char* extra) {
    handler_ = CrashHandlerProxy::CreateCrashHandler();
    handler_->SetCrashDumpDirPath(dir_.path().c_str());
    CrashTraceInfo info{app, session, version, extra};
    handler_->SetTraceInfo(info);
  }
  CrashHandlerProxy* handler_ = nullptr;
};

TEST_F(CreatedReportTest, TakesTheFacadesSettings) {
  Configure("app", "session", "1.2-x", "extra");
  OruRTCCrashReport* report = CreateOruRTCCrashReport();
  EXPECT_EQ(Utf8(report.config.appId), "app");
  EXPECT_EQ(Utf8(report.config.sessionId), "session");
  EXPECT_EQ(Utf8(report.config.sdkVersion), "1.2");
  EXPECT_EQ(Utf8(report.config.infoString), "extra");
  EXPECT_EQ(Utf8(report.config.crashFileSavePath), dir_.path());
  EXPECT_EQ(report.crashThreadId, machine::CurrentThreadNumber());
  ASSERT_EQ([report.crashFilterArray count], 1U);
  EXPECT_EQ(Utf8([report.crashFilterArray objectAtIndex:0]), "OruRTC");
}

TEST_F(CreatedReportTest, EmptyIdentityFallsBackButTheVersionDoesNot) {
  Configure("", "", "", "");
  OruRTCCrashReport* report = CreateOruRTCCrashReport();
  EXPECT_EQ(Utf8(report.config.appId), "Unknown-App");
  EXPECT_EQ(Utf8(report.config.sessionId), "Unknown-Session");
  EXPECT_EQ(Utf8(report.config.sdkVersion), "");
  EXPECT_EQ(report.config.infoString, nil);
  EXPECT_EQ(Utf8(report.infoString), "");
}

TEST_F(CreatedReportTest, IdentityThatIsNotUtf8IsKeptReadable) {
  Configure("a\xff", "s", "1", "\xfe");
  OruRTCCrashReport* report = CreateOruRTCCrashReport();
  EXPECT_EQ(Utf8(report.config.appId), "a\xc3\xbf");
  EXPECT_EQ(Utf8(report.infoString), "\xc3\xbe");
}

TEST_F(CreatedReportTest, AutoreleasesTheReport) {
  Configure("a", "s", "1", "");
  OruRTCCrashReport* report = nil;
  {
    NSAutoreleasePool* inner = [[NSAutoreleasePool alloc] init];
    report = [CreateOruRTCCrashReport() retain];
    [inner drain];
  }
  EXPECT_EQ([report retainCount], 1U);
  [report release];
}

}  // namespace
}  // namespace CrashHandler
