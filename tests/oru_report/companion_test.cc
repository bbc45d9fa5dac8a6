// Companions of reports, which come from other machines: read whole, cut anywhere, and made to do
// harm.
#include "oru_report/model/companion.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "oru_report/input/companion_file.h"
#include "oru_report/model/limits.h"
#include "oru_report/render/companion_rows.h"
#include "tests/support/files.h"

namespace oru_report {
namespace {

using oru_test::TempDir;
using Texts = std::vector<std::string>;

constexpr char kSample[] =
    R"({"type":"companion","schema":1,"verdict":"sdk","report":"Crash_A_S_Signal_T.log","way":"ordinary","frames":14}
{"type":"crash","kind":"Signal","signal":11,"signal_name":"SIGSEGV","code":1,"code_name":"SEGV_MAPERR","access":"write","address":"0x0","time":"2026-11-22T04:15:40.834Z","thread":1818}
{"type":"exception","language":"C++","name":"St13runtime_error","reason":"quote \" line\u000a end \u001b"}
{"type":"registers","cpu":"x86_64","values":{"rax":"0x0","rbx":"0x1","rcx":"0x2","rdx":"0x3","rip":"0x4"}}
{"type":"memory","machine":25276063744,"available":24078327808}
{"type":"note","key":"channel","value":"alpha"}
{"type":"thread","number":1811,"name":"main","crashed":false}
{"type":"thread","number":1818,"name":"worker","crashed":true}
{"type":"log","number":7,"text":"a line of the log"}
{"type":"end"}
)";

Texts RowTexts(const Companion& companion) {
  Texts texts;
  for (const CompanionRow& row : RowsOf(companion)) texts.push_back(row.label + "|" + row.text);
  return texts;
}

Texts GapsOf(const std::string& text) { return ParseCompanion(text).gaps; }

TEST(CompanionTest, AWholeOneIsReadWithItsValues) {
  const Companion companion = ParseCompanion(kSample);
  EXPECT_TRUE(companion.found);
  EXPECT_EQ(companion.gaps, Texts());
  ASSERT_EQ(companion.lines.size(), 10U);
  EXPECT_EQ(companion.Find("crash")->Text("address"), "0x0");
  EXPECT_EQ(companion.Find("exception")->Text("reason"), "quote \" line\n end \x1b");
  EXPECT_EQ(companion.Find("registers")->values[1].object, "values");
  EXPECT_EQ(companion.Find("nothing"), nullptr);
}

TEST(CompanionTest, RowsSayWhatPeopleLookFor) {
  const Texts rows = RowTexts(ParseCompanion(kSample));
  const Texts expected = {
      "companion|schema 1  verdict sdk  report Crash_A_S_Signal_T.log  way ordinary  frames 14",
      "crash|SIGSEGV SEGV_MAPERR, write at 0x0, thread 1818, 2026-11-22T04:15:40.834Z",
      "exception|std::runtime_error: quote \" line\n end \x1b",
      "registers|rax 0x0  rbx 0x1  rcx 0x2  rdx 0x3",
      "|rip 0x4",
      "memory|machine 24105 MiB, available 22962 MiB",
      "note|channel: alpha",
      "thread|1811 main",
      "|1818 worker  (crashed)",
      "log|a line of the log"};
  EXPECT_EQ(rows, expected);
}

TEST(CompanionTest, CutAtAnyByteItKeepsItsWholeLines) {
  const std::string whole = kSample;
  for (size_t size = 0; size < whole.size(); ++size) {
    const std::string part = whole.substr(0, size);
    const Companion companion = ParseCompanion(part);
    const auto ends = std::count(part.begin(), part.end(), '\n');
    ASSERT_EQ(companion.lines.size(), static_cast<size_t>(ends)) << size;
    ASSERT_EQ(companion.gaps.back(), "the companion was cut off") << size;
    RowsOf(companion);
  }
}

TEST(CompanionTest, WhatIsNoLineIsCountedAndPassedOver) {
  const Texts strange = {"",
                         "words",
                         "{}",
                         "[]",
                         "{\"type\":\"x\"",
                         "{\"type\":\"x\"} ",
                         "{\"a\":1}",
                         "{\"type\":1.5}",
                         "{\"type\":\"x\",\"n\":01}",
                         "{\"type\":\"x\",\"n\":-}",
                         "{\"type\":\"x\",\"n\":nul}",
                         "{\"type\":\"x\",\"s\":\"\\q\"}",
                         "{\"type\":\"x\",\"s\":\"\\u12\"}",
                         "{\"type\":\"x\",\"o\":{\"p\":{}}}",
                         "{\"type\":\"x\",\"o\":{\"p\":1}",
                         "{\"type\":\"\"}"};
  for (const std::string& line : strange) {
    const std::string text = std::string(kSample) + line + "\n";
    EXPECT_EQ(GapsOf(text), (Texts{"the companion has 1 lines that are none of its own"})) << line;
  }
}

TEST(CompanionTest, EscapesStandForTheirCharacters) {
  const auto text_of = [](const std::string& escaped) {
    return ParseCompanion("{\"type\":\"x\",\"s\":\"" + escaped + "\"}\n").lines.at(0).Text("s");
  };
  EXPECT_EQ(text_of("\\b\\f\\n\\r\\t\\/\\\\\\\""), "\b\f\n\r\t/\\\"");
  EXPECT_EQ(text_of("\\u00e4"), "\xC3\xA4");
  EXPECT_EQ(text_of("\\ud83c\\udfb5"), "\xF0\x9F\x8E\xB5");
  EXPECT_EQ(text_of("\\ud83c"), "\xEF\xBF\xBD");
  EXPECT_EQ(text_of("\\ud83c\\u0041"), "\xEF\xBF\xBD");
  EXPECT_EQ(text_of("\\udfb5"), "\xEF\xBF\xBD");
}

TEST(CompanionTest, AnotherBeginningAndANewerVersionAreTold) {
  EXPECT_EQ(GapsOf("{\"type\":\"end\"}\n"), (Texts{"the companion does not begin as one"}));
  EXPECT_EQ(GapsOf("{\"type\":\"companion\",\"schema\":2}\n{\"type\":\"end\"}\n"),
            (Texts{"the companion is of a newer version; some may be missing"}));
}

TEST(CompanionTest, LinesAndValuesHaveABound) {
  std::string many;
  for (size_t i = 0; i <= kMaxCompanionLines; ++i) many += "{\"type\":\"x\"}\n";
  EXPECT_EQ(ParseCompanion(many).lines.size(), kMaxCompanionLines);
  std::string wide = "{\"type\":\"x\"";
  for (size_t i = 0; i <= kMaxCompanionValues; ++i) wide += ",\"n\":1";
  EXPECT_EQ(ParseCompanion(wide + "}\n").lines.size(), 0U);
  const std::string deep(100000, '{');
  EXPECT_EQ(ParseCompanion("{\"type\":\"x\",\"o\":" + deep + "\n").lines.size(), 0U);
}

class CompanionFileTest : public testing::Test {
 protected:
  Companion Read() { return ReadCompanionOf(dir_.Join("report.log")); }
  const TempDir dir_;
};

TEST_F(CompanionFileTest, LiesBesideTheReport) {
  oru_test::WriteFile(dir_.Join("report.json"), kSample);
  EXPECT_EQ(Read().lines.size(), 10U);
  EXPECT_FALSE(ReadCompanionOf(dir_.Join("report")).found);
  EXPECT_FALSE(ReadCompanionOf("-").found);
}

TEST_F(CompanionFileTest, IsNotThereWithoutAFile) { EXPECT_FALSE(Read().found); }

TEST_F(CompanionFileTest, IsNoLinkFolderOrPipe) {
  oru_test::WriteFile(dir_.Join("other"), kSample);
  ASSERT_EQ(symlink("other", dir_.Join("report.json").c_str()), 0);
  EXPECT_FALSE(Read().found);
  ASSERT_EQ(unlink(dir_.Join("report.json").c_str()), 0);
  ASSERT_EQ(mkfifo(dir_.Join("report.json").c_str(), 0600), 0);
  EXPECT_FALSE(Read().found);
  ASSERT_EQ(unlink(dir_.Join("report.json").c_str()), 0);
  ASSERT_EQ(mkdir(dir_.Join("report.json").c_str(), 0700), 0);
  EXPECT_FALSE(Read().found);
}

TEST_F(CompanionFileTest, OfAnySizeIsReadToItsBound) {
  oru_test::WriteFile(dir_.Join("report.json"), kSample);
  // A hole: it costs no room.
  ASSERT_EQ(truncate(dir_.Join("report.json").c_str(), off_t{64} << 30), 0);
  const Companion companion = Read();
  EXPECT_EQ(companion.lines.size(), 10U);
  EXPECT_EQ(companion.gaps, (Texts{"the companion was cut off"}));
}

}  // namespace
}  // namespace oru_report
