#include "oru_report/render/report_table.h"

#include <gtest/gtest.h>

#include "tests/support/files.h"

namespace oru_report {
namespace {

ReportEntry Entry(const std::string& time, const std::string& path) {
  ReportEntry entry;
  entry.time = time;
  entry.kind = "Signal";
  entry.app = "café";
  entry.session = "S";
  entry.version = "6.1.0";
  entry.place = "Engine::join(int)";
  entry.bytes = 7;
  entry.path = path;
  return entry;
}

TEST(SortNewestFirst, PutsThoseWithoutATimeLast) {
  std::vector<ReportEntry> entries = {Entry("?", "/b"), Entry("2024-03-05 07:08:09", "/c"),
                                      Entry("?", "/a"), Entry("2024-03-06 07:08:09", "/d")};
  SortNewestFirst(&entries);
  std::string order;
  for (const ReportEntry& entry : entries) order += entry.path;
  EXPECT_EQ(order, "/d/c/a/b");
}

TEST(FormatTable, AlignsColumns) {
  EXPECT_EQ(FormatTable({Entry("2024-03-05 07:08:09", "/a/b")}, 0),
            "TIME                 KIND    APP   SESSION  SDK    PLACE              FILE\n"
            "2024-03-05 07:08:09  Signal  café  S        6.1.0  Engine::join(int)  /a/b\n");
  EXPECT_EQ(FormatTable({}, 0), "no reports\n");
}

TEST(FormatTable, FitsIntoAnyWidth) {
  ReportEntry entry =
      Entry("2024-03-05 07:08:09", "/a/path/that/is/long/and/longer/and/longest.log");
  entry.app = "an-application-with-a-long-name";
  entry.session = "session-4711-0815-4711";
  entry.place = "OruRTC::Transport::Negotiation::Session::join(std::string const&, int)";
  for (const size_t width : {200U, 120U, 80U, 60U, 40U, 20U}) {
    for (const std::string& line : oru_test::SplitLines(FormatTable({entry, entry}, width))) {
      EXPECT_LE(ColumnsOf(line), width) << line;
    }
  }
}

TEST(ColumnsOf, CountsWideCharactersTwice) {
  EXPECT_EQ(ColumnsOf("café"), 4U);
  EXPECT_EQ(ColumnsOf("会議アプリ"), 10U);
  EXPECT_EQ(ColumnsOf("a😀"), 3U);
  EXPECT_EQ(ColumnsOf("\xff\x80"), 1U);
  EXPECT_EQ(Shortened("会議アプリ", 10), "会議アプリ");
  EXPECT_EQ(Shortened("会議アプリ", 9), "会議アプ…");
  EXPECT_EQ(Shortened("会議アプリ", 8), "会議ア…");
  EXPECT_EQ(Shortened("会議", 1), "…");
  ReportEntry entry = Entry("2024-03-05 07:08:09", "/記録/記録記録記録記録記録記録記録.log");
  entry.app = "会議アプリ";
  entry.place = "名前::関数()";
  for (const size_t width : {100U, 80U, 60U, 41U, 40U, 20U}) {
    for (const std::string& line : oru_test::SplitLines(FormatTable({entry}, width))) {
      EXPECT_LE(ColumnsOf(line), width) << line;
    }
  }
}

TEST(FormatTable, OnATerminalKeepsTheFunctionAndTheEndOfTheFile) {
  ReportEntry entry =
      Entry("2024-03-05 07:08:09", "/dumps/6.1.0/Crash_demo_s_Signal_2024-03-05-07-08-09.log");
  entry.session = "session-4711";
  const auto line_of = [&](const std::string& place) {
    entry.place = place;
    return oru_test::SplitLines(FormatTable({entry}, 80))[1];
  };
  for (const char* place :
       {"OruRTC::Transport::Negotiation::join(std::string const&, int)",
        "OruRTC::Transport::(anonymous namespace)::join(std::map<int, a::b<int> > const&)",
        "OruRTC::Transport::Negotiation<a::b<int>, c::d>::join() const"}) {
    EXPECT_NE(line_of(place).find("…join()"), std::string::npos) << line_of(place);
  }
  EXPECT_NE(line_of("libOruRTCEngine-of-long-name.so + 0x12345").find("libOru"), std::string::npos);
  const std::string line = line_of("f()");
  EXPECT_EQ(line.substr(line.size() - 8), "8-09.log");
}

TEST(FormatTable, SaysWhichReportIsNotWhole) {
  ReportEntry entry = Entry("?", "/a/b");
  entry.whole = false;
  EXPECT_NE(FormatTable({entry}, 0).find("/a/b (not whole)"), std::string::npos);
}

TEST(FormatTable, ShortensLongIdentifiersAtWholeCharacters) {
  ReportEntry entry = Entry("?", "/x");
  entry.app = "12345678901234567890";
  entry.session = "1234567890123456789é1";
  entry.version = "123456789012345678é901";
  EXPECT_EQ(oru_test::SplitLines(FormatTable({entry}, 0))[1],
            "?     Signal  12345678901234567890  1234567890123456789…  123456789012345678é…  "
            "Engine::join(int)  /x");
}

TEST(FormatJson, IsAnArray) {
  EXPECT_EQ(FormatJson({}), "[]\n");
  ReportEntry entry;
  entry.path = "/a\"b";
  const std::string object =
      "{\"file\": \"/a\\\"b\", \"kind\": \"\", \"app\": \"\", \"session\": \"\", \"sdk\": \"\", "
      "\"time\": \"\", \"place\": \"\", \"bytes\": 0, \"whole\": true}";
  EXPECT_EQ(FormatJson({entry, entry}), "[\n  " + object + ",\n  " + object + "\n]\n");
}

}  // namespace
}  // namespace oru_report
