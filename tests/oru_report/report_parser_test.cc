#include "oru_report/model/report_parser.h"

#include <gtest/gtest.h>

#include <string>

#include "oru_report/model/frame_line.h"
#include "oru_report/model/limits.h"
#include "tests/oru_report/sample.h"

namespace oru_report {
namespace {

using oru_report_test::kExceptionReport;
using oru_report_test::kSignalReport;

Report Parsed(const std::string& text) {
  Report report;
  std::string error;
  EXPECT_TRUE(ParseReport(text, &report, &error)) << error;
  return report;
}

TEST(ReportParser, ReadsTheHeader) {
  const Report report = Parsed(kSignalReport);
  ASSERT_EQ(report.header.size(), 6U);
  EXPECT_EQ(report.HeaderValue("Harware Model"), "x86_64");
  EXPECT_EQ(report.HeaderValue("Date/Time"), "2024-03-05 07:08:09 123");
  EXPECT_EQ(report.HeaderValue("absent"), "");
}

TEST(ReportParser, ReadsLinuxCrashFrames) {
  const Report report = Parsed(kSignalReport);
  ASSERT_EQ(report.crash_frames.size(), 3U);
  EXPECT_EQ(report.crash_frames[0]->image(), "host");
  EXPECT_EQ(report.crash_frames[0]->symbol(), "");
  EXPECT_EQ(report.crash_frames[0]->address, 0x401234U);
  EXPECT_EQ(report.crash_frames[1]->symbol(), "_ZN6OruRTC6Engine4joinEi");
  EXPECT_EQ(report.crash_frames[1]->offset, 0x1cU);
  EXPECT_EQ(report.crash_frames[1]->address, 0x7f0000001010U);
}

TEST(ReportParser, ReadsMacFramesWithBlanksInSymbols) {
  const Report report = Parsed(kExceptionReport);
  ASSERT_EQ(report.crash_frames.size(), 1U);
  EXPECT_EQ(report.crash_frames[0]->image(), "OruRTCSdk");
  EXPECT_EQ(report.crash_frames[0]->symbol(), "-[Engine join:]");
  EXPECT_EQ(report.crash_frames[0]->offset, 44U);
}

TEST(ReportParser, SplitsThreadsAndFailureTextsWithoutLineEnd) {
  const Report report = Parsed(kSignalReport);
  ASSERT_EQ(report.threads.size(), 2U);
  EXPECT_EQ(report.threads[0].number, 100U);
  EXPECT_EQ(report.threads[0].name, "main");
  EXPECT_EQ(report.threads[0].frames.size(), 2U);
  EXPECT_EQ(report.threads[1].name, "worker <1>");
  ASSERT_EQ(report.thread_notes.size(), 1U);
  EXPECT_EQ(report.thread_notes[0], "Fail to get information about thread: 102");
}

TEST(ReportParser, FindsTheCrashedThread) {
  ASSERT_NE(Parsed(kSignalReport).CrashThread(), nullptr);
  EXPECT_EQ(Parsed(kSignalReport).CrashThread()->number, 101U);
}

TEST(ReportParser, FindsTheCrashedThreadOfANumberPrintedSigned) {
  const Report report = Parsed(kExceptionReport);
  ASSERT_NE(report.CrashThread(), nullptr);
  EXPECT_EQ(report.CrashThread()->number, 4294967291U);
}

TEST(ReportParser, LeavesOutTheBaseThatStandsForAMissingSymbol) {
  const Report report = Parsed(kSignalReport);
  ASSERT_EQ(report.threads[1].frames.size(), 2U);
  EXPECT_EQ(report.threads[1].frames[1]->symbol(), "");
  EXPECT_EQ(report.threads[1].frames[1]->address, 0x42U);
}

TEST(ReportParser, ReadsImagesWithBlanksInTheirNames) {
  const Report report = Parsed(kSignalReport);
  ASSERT_EQ(report.images.size(), 3U);
  EXPECT_EQ(report.images[2].name, "my lib.so");
  EXPECT_EQ(report.images[2].path, "/lib/my lib.so");
  EXPECT_EQ(report.images[1].uuid, "fedcba9876543210fedcba9876543210");
  EXPECT_EQ(report.ImageOf(0x7f000000ffff), &report.images[1]);
  EXPECT_EQ(report.ImageOf(0x7f0000010000), nullptr);
}

TEST(ReportParser, ReadsImagesWhoseNamesLookLikeTheColumnsBehind) {
  const std::string path = "/opt/a  <b> c arm64  <d> e";
  std::string text = kSignalReport;
  const std::string line = "/lib/my lib.so\n";
  text.insert(text.find(line) + line.size(),
              "            0x1000 -             0x2000  a  <b> c arm64  <d> e arm64  "
              "<0123456789abcdef0123456789abcdef> " +
                  path + "\n");
  const Report report = Parsed(text);
  ASSERT_EQ(report.images.size(), 4U);
  EXPECT_EQ(report.images[3].name, "a  <b> c arm64  <d> e");
  EXPECT_EQ(report.images[3].uuid, "0123456789abcdef0123456789abcdef");
  EXPECT_EQ(report.images[3].path, path);
}

TEST(ReportParser, KeepsTheWholeNameWhereItOnlyBeginsLikeThePathsLastPart) {
  std::string text = kSignalReport;
  const std::string line = "/lib/my lib.so\n";
  text.insert(text.find(line) + line.size(),
              "            0x1000 -             0x2000  a.so 0ff a.so arm64  <> /lib/a.so\n");
  const Report report = Parsed(text);
  ASSERT_EQ(report.images.size(), 4U);
  EXPECT_EQ(report.images[3].name, "a.so 0ff a.so");
  EXPECT_EQ(report.images[3].path, "/lib/a.so");
}

TEST(ReportParser, ReadsAnImageWithoutAPath) {
  std::string text = kSignalReport;
  const std::string line = "/lib/my lib.so\n";
  text.insert(text.find(line) + line.size(), "  0x1000 -   0x2000   armv7  <> \n");
  const Report report = Parsed(text);
  ASSERT_EQ(report.images.size(), 4U);
  EXPECT_EQ(report.images[3].name, "");
  EXPECT_EQ(report.images[3].path, "");
}

// As reports of former versions have it.
TEST(ReportParser, ReadsImagesWithOneBlankBeforeTheName) {
  std::string text = kSignalReport;
  const std::string lines =
      "            0x1000 -             0x2000 x.so arm64  <01> /lib/x.so\n"
      "            0x1000 -             0x2000  x.so arm64  <02> /lib/ x.so\n"
      "            0x1000 -             0x2000   x.so arm64  <03> /lib/ x.so\n"
      "  0x1000 -   0x2000  armv7  <04> \n"
      "            0x1000 -             0x2000 [vdso] arm64  <05> [vdso]\n"
      "            0x1000 -             0x2000  [vdso] arm64  <06> [vdso]\n";
  const std::string before = "/lib/my lib.so\n";
  text.insert(text.find(before) + before.size(), lines);
  const Report report = Parsed(text);
  ASSERT_EQ(report.images.size(), 9U);
  const char* const names[] = {"x.so", " x.so", " x.so", "", "[vdso]", "[vdso]"};
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(report.images[3 + i].name, names[i]) << i;
    EXPECT_EQ(report.images[3 + i].uuid, "0" + std::to_string(i + 1)) << i;
  }
}

TEST(ReportParser, ReadsAnyNumberOfFailureTextsOnOneLine) {
  constexpr size_t kFailures = 20000;
  std::string failures;
  for (size_t i = 0; i < kFailures; ++i) failures += "Fail to get frame pointer";
  std::string text = kSignalReport;
  text.insert(text.find("Fail to get "), failures);
  const Report report = Parsed(text);
  EXPECT_EQ(report.thread_notes.size(), kFailures + 1);
  EXPECT_EQ(report.threads.size(), 2U);
}

TEST(ReportParser, TakesABlocksLinesForFramesWhateverTheImagesAreCalled) {
  std::string text = kSignalReport;
  const std::string header = "Thread 100 main:\n";
  ASSERT_NE(text.find(header), std::string::npos);
  text.insert(text.find(header) + header.size(),
              "Fail to get Thread 7 x:         0x00007f0012345678 one + 1\n"
              "Thread 8 y:                     0x00007f0012345679 two + 2:\n");
  const Report report = Parsed(text);
  ASSERT_EQ(report.threads.size(), 2U);
  ASSERT_EQ(report.threads[0].frames.size(), 4U);
  EXPECT_EQ(report.threads[0].frames[0]->image(), "Fail to get Thread 7 x:");
  EXPECT_EQ(report.threads[0].frames[1]->symbol(), "two");
  EXPECT_EQ(report.thread_notes.size(), 1U);
}

TEST(ReportParser, KeepsZerosInThreadNames) {
  std::string text = kSignalReport;
  text.insert(text.find("main:") + 2, 1, '\0');
  EXPECT_EQ(Parsed(text).threads[0].name, std::string("ma\0in", 5));
}

TEST(ReportParser, KeepsSectionTitlesInTheHostsOwnText) {
  EXPECT_EQ(Parsed(kSignalReport).custom_info, "build=7\nBinary Images:\n<b>bold</b>");
}

TEST(ReportParser, KeepsAnExceptionsReasonOfSeveralLines) {
  EXPECT_EQ(Parsed(kExceptionReport).exception,
            "*** Terminating app due to uncaught exception 'Range', reason: 'beyond\nthe end'");
}

TEST(ReportParser, RefusesOtherTexts) {
  Report report;
  std::string error;
  EXPECT_FALSE(ParseReport("", &report, &error));
  EXPECT_NE(error, "");
  EXPECT_EQ(error, "it is empty");
  EXPECT_FALSE(ParseReport("some log\nlines\n", &report, &error));
  for (const char* text :
       {"Crash Thread Backtrace:\nAll Thread Backtrace:\n", "words\nAll Thread Backtrace:\nwords\n",
        "Process: 1\n\nBinary Images:\n0x1000 - 0x2000  x arm64  <> /x\n",
        "\nUserCustomInfo:\nwords\n"}) {
    EXPECT_FALSE(ParseReport(text, &report, &error)) << text;
    EXPECT_EQ(error, "it is no crash report");
  }
}

TEST(ReportParser, TellsWhereAReportIsCut) {
  const std::string whole = kSignalReport;
  EXPECT_TRUE(Parsed(whole).gaps.empty());
  for (size_t length = 1; length < whole.size(); ++length) {
    const Report report = Parsed(whole.substr(0, length));
    // Behind a whole line of the host's own words nothing tells that there were more.
    const bool in_words = length > whole.find("UserCustomInfo:\n") + 16;
    if (in_words && whole[length - 1] == '\n') continue;
    ASSERT_EQ(report.gaps.size(), 1U) << length;
    EXPECT_NE(report.gaps[0].find("cut off"), std::string::npos);
  }
  EXPECT_EQ(Parsed(whole.substr(0, whole.find("Binary Images:"))).gaps[0],
            "it is cut off within its threads");
}

TEST(ReportParser, ReadsWhatACutReportHas) {
  const std::string whole = kSignalReport;
  const Report report = Parsed(whole.substr(0, whole.find("libc.so.6    ")));
  EXPECT_EQ(report.header.size(), 6U);
  EXPECT_EQ(report.crash_frames.size(), 3U);
  ASSERT_EQ(report.threads.size(), 1U);
  EXPECT_EQ(report.threads[0].name, "main");
}

TEST(ReportParser, ReadsWhatIsLeftOfOneWhoseBeginningIsGone) {
  const std::string whole = kSignalReport;
  const auto from = [&](const char* text) { return Parsed(whole.substr(whole.find(text))); };
  const Report no_header = from("Crash Thread Backtrace:");
  EXPECT_EQ(no_header.crash_frames.size(), 3U);
  EXPECT_EQ(no_header.threads.size(), 2U);
  const Report in_frames = from("/opt/app/libOruRTCEngine.so(");
  EXPECT_EQ(in_frames.crash_frames.size(), 2U);
  EXPECT_EQ(in_frames.images.size(), 3U);
  // The thread without its title is not guessed at, the next one is there.
  const Report in_threads = from("libc.so.6    ");
  EXPECT_TRUE(in_threads.crash_frames.empty());
  ASSERT_EQ(in_threads.threads.size(), 1U);
  EXPECT_EQ(in_threads.threads[0].number, 101U);
  EXPECT_EQ(in_threads.images.size(), 3U);
  const Report in_images = from("    0x7f0000000000 -");
  EXPECT_EQ(in_images.images.size(), 2U);
  for (const Report* report : {&no_header, &in_frames, &in_threads, &in_images}) {
    ASSERT_EQ(report->gaps.size(), 1U);
    EXPECT_EQ(report->gaps[0], "it is cut off at its beginning");
    EXPECT_EQ(report->custom_info, "build=7\nBinary Images:\n<b>bold</b>");
  }
}

TEST(ReportParser, LeavesOutTheWordsOfAMailInFront) {
  for (const char* words :
       {"\n\n", "  ", "\t", "Hello, here it is:\n\n> what happened?\nIt crashed.\n\n"}) {
    const Report report = Parsed(words + std::string(kSignalReport));
    EXPECT_TRUE(report.gaps.empty()) << words;
    EXPECT_EQ(report.header.size(), 6U);
    EXPECT_EQ(report.crash_frames.size(), 3U);
    EXPECT_NE(report.CrashThread(), nullptr);
  }
}

TEST(ReportParser, KeepsEqualLinesOnce) {
  std::string text = kSignalReport;
  const std::string block =
      "Thread 7 idle:\nlibc.so.6                       0x7f1000000010 __poll + 16\n\n";
  const size_t at = text.find("Fail to get information");
  for (int i = 0; i < 1000; ++i) text.insert(at, block);
  const Report report = Parsed(text);
  ASSERT_EQ(report.threads.size(), 1002U);
  EXPECT_EQ(report.threads[1].frames[0], report.threads[1000].frames[0]);
  EXPECT_EQ(report.frames.size(), 7U);
}

TEST(ReportParser, LeavesOutWhatNoReportHas) {
  std::string text = kSignalReport;
  std::string images;
  for (size_t i = 0; i <= kMaxImages; ++i) images += "0x1000 - 0x2000  x arm64  <> /x\n";
  text.insert(text.find("\nUserCustomInfo:"), images);
  const Report report = Parsed(text);
  EXPECT_EQ(report.images.size(), kMaxImages);
  ASSERT_EQ(report.gaps.size(), 1U);
  EXPECT_NE(report.gaps[0].find("65536 images"), std::string::npos) << report.gaps[0];
}

TEST(ParseFrame, KeepsALineOfNoKnownForm) {
  for (const char* line : {"", "words only", "] [0x", "(", "x(", ") [0x12]]", "a 0xz"}) {
    const Frame frame = ParseFrame(line);
    EXPECT_EQ(frame.text, line);
  }
  EXPECT_FALSE(ParseFrame("words only").parsed);
}

}  // namespace
}  // namespace oru_report
