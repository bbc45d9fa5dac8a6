#include "oru_report/report_list.h"

#include <gtest/gtest.h>

#include "tests/support/files.h"

namespace oru_report {
namespace {

using oru_test::MakeDirs;
using oru_test::TempDir;
using oru_test::WriteFile;

std::vector<ReportEntry> Found(const std::string& dir) {
  std::vector<ReportEntry> entries;
  std::string error;
  EXPECT_TRUE(FindReports(dir, &entries, &error)) << error;
  return entries;
}

TEST(FindReports, ListsVersionFoldersNewestFirst) {
  const TempDir dir;
  MakeDirs(dir.Join("6.1.0"));
  WriteFile(dir.Join("6.1.0/Crash_A1_S1_Signal_2024-03-05-07-08-09.log"), "12345");
  WriteFile(dir.Join("Crash_A1_S2_Exception_2024-04-05-07-08-09.log"), "");
  const std::vector<ReportEntry> entries = Found(dir.path() + "/");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].session, "S2");
  EXPECT_EQ(entries[0].kind, "Exception");
  EXPECT_EQ(entries[0].version, "");
  EXPECT_EQ(entries[1].app, "A1");
  EXPECT_EQ(entries[1].version, "6.1.0");
  EXPECT_EQ(entries[1].time, "2024-03-05 07:08:09");
  EXPECT_EQ(entries[1].size, 5U);
  EXPECT_EQ(entries[1].path, dir.Join("6.1.0/Crash_A1_S1_Signal_2024-03-05-07-08-09.log"));
}

TEST(FindReports, ListsNamesWithoutATimeLast) {
  const TempDir dir;
  WriteFile(dir.Join("Crash_odd.log"), "");
  WriteFile(dir.Join("Crash_A1_S1_Signal_2024-03-05-07-08-09.log"), "");
  WriteFile(dir.Join("Crash_strange.log"), "");
  const std::vector<ReportEntry> entries = Found(dir.path());
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].app, "A1");
  EXPECT_EQ(entries[1].path, dir.Join("Crash_odd.log"));
  EXPECT_EQ(entries[2].path, dir.Join("Crash_strange.log"));
}

TEST(FindReports, LeavesOutOtherFiles) {
  const TempDir dir;
  WriteFile(dir.Join("Crash_A1_S1_Signal_2024-03-05-07-08-09.txt"), "");
  WriteFile(dir.Join("Crashes.log"), "");
  WriteFile(dir.Join("report.log"), "");
  EXPECT_TRUE(Found(dir.path()).empty());
}

TEST(FindReports, ListsAReportWhoseAppIdHasUnderscores) {
  const TempDir dir;
  WriteFile(dir.Join("Crash_my_app_S1_Signal_2024-03-05-07-08-09.log"), "");
  const std::vector<ReportEntry> entries = Found(dir.path());
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].app, "?");
}

TEST(FindReports, NamesAFolderThatCannotBeOpened) {
  std::vector<ReportEntry> entries;
  std::string error;
  EXPECT_FALSE(FindReports("/nowhere/at/all", &entries, &error));
  EXPECT_NE(error.find("/nowhere/at/all"), std::string::npos);
}

TEST(FormatTable, AlignsColumns) {
  ReportEntry entry;
  entry.time = "2024-03-05 07:08:09";
  entry.kind = "Signal";
  entry.app = "café";
  entry.session = "S";
  entry.version = "6.1.0";
  entry.size = 7;
  entry.path = "/a/b";
  EXPECT_EQ(FormatTable({entry}),
            "TIME                 KIND    APP   SESSION  SDK    BYTES  FILE\n"
            "2024-03-05 07:08:09  Signal  café  S        6.1.0      7  /a/b\n");
  EXPECT_EQ(FormatTable({}), "no reports\n");
}

TEST(FormatTable, ShortensLongIdentifiersAtWholeCharacters) {
  ReportEntry entry;
  entry.time = "?";
  entry.app = "12345678901234567890";
  entry.session = "1234567890123456789é1";
  entry.version = "123456789012345678é901";
  entry.path = "/a/path/that/is/longer/than/twenty/columns";
  EXPECT_EQ(oru_test::SplitLines(FormatTable({entry}))[1],
            "?           12345678901234567890  1234567890123456789…  123456789012345678é…      0  "
            "/a/path/that/is/longer/than/twenty/columns");
}

TEST(FormatJson, IsAnArray) {
  EXPECT_EQ(FormatJson({}), "[]\n");
  ReportEntry entry;
  entry.path = "/a\"b";
  EXPECT_EQ(
      FormatJson({entry, entry}),
      "[\n  {\"file\": \"/a\\\"b\", \"kind\": \"\", \"app\": \"\", \"session\": \"\", \"sdk\": "
      "\"\", "
      "\"time\": \"\", \"bytes\": 0},\n"
      "  {\"file\": \"/a\\\"b\", \"kind\": \"\", \"app\": \"\", \"session\": \"\", \"sdk\": \"\", "
      "\"time\": \"\", \"bytes\": 0}\n]\n");
}

}  // namespace
}  // namespace oru_report
