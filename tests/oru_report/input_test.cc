#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>

#include "oru_report/input/report_files.h"
#include "oru_report/input/text_decoding.h"
#include "tests/oru_report/sample.h"
#include "tests/support/files.h"

namespace oru_report {
namespace {

using oru_report_test::kSignalReport;
using oru_test::TempDir;
using oru_test::WriteFile;

std::string Utf16(const std::string& text, bool big, bool mark) {
  std::string bytes = !mark ? "" : big ? "\xFE\xFF" : "\xFF\xFE";
  for (const char c : text) {
    if (big) bytes += '\0';
    bytes += c;
    if (!big) bytes += '\0';
  }
  return bytes;
}

std::string WithCrLf(const std::string& text) {
  std::string bytes;
  for (const char c : text) bytes += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return bytes;
}

std::string Gzip(const std::string& text) {
  std::string packed(compressBound(text.size()) + 64, '\0');
  z_stream stream = {};
  deflateInit2(&stream, 9, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(&packed[0]);
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

TEST(PlainText, OfEveryFormIsTheSame) {
  const std::string text = kSignalReport;
  EXPECT_EQ(PlainText(text), text);
  EXPECT_EQ(PlainText("\xEF\xBB\xBF" + text), text);
  EXPECT_EQ(PlainText(WithCrLf(text)), text);
  std::string with_cr = text;
  std::replace(with_cr.begin(), with_cr.end(), '\n', '\r');
  EXPECT_EQ(PlainText(with_cr), text);
  EXPECT_EQ(PlainText(Utf16(with_cr, false, true)), text);
  EXPECT_EQ(PlainText(WithCrLf(WithCrLf(text))), text);
  for (const bool big : {false, true}) {
    for (const bool mark : {false, true}) {
      EXPECT_EQ(PlainText(Utf16(text, big, mark)), text) << big << mark;
      EXPECT_EQ(PlainText(Utf16(WithCrLf(text), big, mark)), text) << big << mark;
      EXPECT_TRUE(BeginsLikeReport(Utf16(text, big, mark)));
    }
  }
}

TEST(PlainText, KeepsPairsAndReplacesHalfOnes) {
  EXPECT_EQ(PlainText(std::string("\xFF\xFEH\0\x3d\xd8\x00\xdex\0", 10)), "H😀x");
  EXPECT_EQ(PlainText(std::string("\xFF\xFEH\0\x3d\xd8", 6)), "H\xEF\xBF\xBD");
  EXPECT_EQ(PlainText(std::string("\xFF\xFEH\0x", 5)), "H");
  EXPECT_EQ(PlainText(""), "");
}

struct Found {
  std::vector<ReportFile> files;
  PassedOver passed;
};

Found FindIn(const std::vector<std::string>& paths) {
  Found found;
  VisitReportFiles(
      paths, [&](ReportFile file) { found.files.push_back(std::move(file)); }, &found.passed);
  return found;
}

TEST(ReportFiles, AreFoundBelowAFolder) {
  const TempDir dir;
  oru_test::MakeDirs(dir.Join("6.1.0/deep"));
  WriteFile(dir.Join("6.1.0/Crash_A1_S1_Signal_2024-03-05-07-08-09.log"), kSignalReport);
  WriteFile(dir.Join("6.1.0/deep/report (1).log"), Utf16(kSignalReport, false, true));
  WriteFile(dir.Join("packed.log.gz"), Gzip(kSignalReport));
  WriteFile(dir.Join("host.log"), "some other log\n");
  WriteFile(dir.Join("notes.md"), kSignalReport);
  const Found found = FindIn({dir.path() + "/"});
  ASSERT_EQ(found.files.size(), 3U);
  EXPECT_EQ(found.files[0].folder, "6.1.0");
  EXPECT_EQ(found.files[1].text, kSignalReport);
  EXPECT_EQ(found.files[2].text, kSignalReport);
  EXPECT_EQ(found.passed.no_reports, 1U);
  EXPECT_EQ(found.passed.other_files, 1U);
  EXPECT_EQ(found.passed.Summary(), "passed over: 1 file of another kind, 1 that is no report");
}

TEST(ReportFiles, BehindTheWordsOfAMailAreFoundToo) {
  const TempDir dir;
  WriteFile(dir.Join("mail.txt"), "Hello,\nhere it is:\n\n" + std::string(kSignalReport));
  WriteFile(dir.Join("quoted.txt"), "The label Harware Model: is in the text.\n");
  const Found found = FindIn({dir.path()});
  ASSERT_EQ(found.files.size(), 1U);
  EXPECT_EQ(found.files[0].name, "mail.txt");
  EXPECT_EQ(found.passed.no_reports, 1U);
}

TEST(ReportFiles, ThatWaitOrLeadAwayAreNotOpened) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.Join("fifo.log").c_str(), 0600), 0);
  ASSERT_EQ(symlink("/dev/zero", dir.Join("zero.log").c_str()), 0);
  ASSERT_EQ(symlink(dir.path().c_str(), dir.Join("circle").c_str()), 0);
  const Found found = FindIn({dir.path()});
  EXPECT_EQ(found.files.size(), 0U);
  EXPECT_EQ(found.passed.other_files, 3U);
}

TEST(ReportFiles, ThatCannotBeReadAreToldWithTheirName) {
  const TempDir dir;
  const Found found = FindIn({dir.Join("absent")});
  ASSERT_EQ(found.passed.problems.size(), 1U);
  // Once is enough.
  EXPECT_EQ(found.passed.Summary(), "");
  EXPECT_NE(found.passed.problems[0].find(dir.Join("absent")), std::string::npos);
}

TEST(ReportFiles, PackedOutOfProportionAreCut) {
  const TempDir dir;
  const std::string bomb = Gzip(std::string(kSignalReport) + std::string(64 << 20, 'x'));
  WriteFile(dir.Join("bomb.log.gz"), bomb);
  const Found found = FindIn({dir.path()});
  ASSERT_EQ(found.files.size(), 1U);
  EXPECT_NE(found.files[0].gap, "");
  EXPECT_LE(found.files[0].bytes, (bomb.size() + 4096) * 200);
}

TEST(ReportFiles, PackedAndCutAreReadAsFarAsTheyGo) {
  const TempDir dir;
  const std::string packed = Gzip(kSignalReport);
  WriteFile(dir.Join("cut.log.gz"), packed.substr(0, packed.size() * 3 / 4));
  const Found found = FindIn({dir.Join("cut.log.gz")});
  ASSERT_EQ(found.files.size(), 1U);
  EXPECT_EQ(found.files[0].gap, "its packed form is cut off");
  EXPECT_EQ(std::string(kSignalReport).find(found.files[0].text), 0U);
}

}  // namespace
}  // namespace oru_report
