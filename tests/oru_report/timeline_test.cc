#include "oru_report/analysis/timeline.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

#include "oru_report/model/limits.h"
#include "oru_report/model/report_parser.h"
#include "oru_report/render/render.h"
#include "tests/oru_report/sample.h"
#include "tests/support/files.h"

namespace oru_report {
namespace {

using oru_test::TempDir;

// The sample crashed at 07:08:09.123 by its own clock, in its thread 101.
Report Sample() {
  Report report;
  std::string error;
  EXPECT_TRUE(ParseReport(oru_report_test::kSignalReport, &report, &error)) << error;
  return report;
}

std::string Event(int number, int64_t time, int thread = 7) {
  return ",{ \"name\": \"Frame\", \"cat\": \"video\", \"ph\": \"B\", \"ts\": " +
         std::to_string(time) + ", \"pid\": 1, \"tid\": " + std::to_string(thread) +
         ", \"args\": { \"number\": " + std::to_string(number) + " }}\n";
}

std::string Anchor(int64_t utc_micros, int64_t time) {
  return " { \"name\": \"CalendarTime\", \"cat\": \"webrtc\", \"ph\": \"I\", \"ts\": " +
         std::to_string(time) +
         ", \"pid\": 1, \"tid\": 7, \"args\": { \"utc_us\": " + std::to_string(utc_micros) +
         " }}\n";
}

// 2024-03-05 07:08:09.123 UTC.
constexpr int64_t kCrash = 1709622489123000;

// What is shown for a log and a trace of that content; nothing for "".
std::string Shown(const std::string& log, const std::string& trace, int utc_offset = 0) {
  const TempDir dir;
  TimelineOptions options;
  options.utc_offset = utc_offset;
  if (!log.empty()) {
    options.log = dir.Join("log");
    oru_test::WriteFile(options.log, log);
  }
  if (!trace.empty()) {
    options.trace = dir.Join("trace");
    oru_test::WriteFile(options.trace, "{ \"traceEvents\": [\n" + trace + "]}\n");
  }
  const Timeline timeline = MakeTimeline(Sample(), options);
  EXPECT_TRUE(timeline.problems.empty());
  StringOutput output;
  RenderTimeline(timeline, &output);
  return output.text();
}

constexpr char kMoment[] =
    "  (the report's time is taken as UTC+00:00: it crashed at 2024-03-05 07:08:09.123 UTC; times "
    "are "
    "UTC)\n";

TEST(Timeline, LogAndTraceStandTogetherByTime) {
  EXPECT_EQ(
      Shown("2024-03-05T07:08:08.123Z [I] one\n2024-03-05T07:08:09.000Z [I] two\n",
            Anchor(kCrash - 2000000, 500) + Event(1, 500 + 1500000, 101) + Event(2, 500 + 1999000)),
      std::string(kMoment) +
          "  07:08:08.123     -1.000 s  log    [I] one\n"
          "  07:08:08.623     -0.500 s  trace  begin video Frame  \"number\": 1  (the crashed "
          "thread)\n"
          "  07:08:09.000     -0.123 s  log    [I] two\n"
          "  07:08:09.122     -0.001 s  trace  begin video Frame  \"number\": 2  (thread 7)\n");
}

TEST(Timeline, WhatIsBehindTheCrashIsLeftOut) {
  const std::string shown = Shown(
      "2024-03-05T07:08:09.123Z [I] last\n2024-03-05T07:08:09.200Z [I] next run\nand its rest\n",
      Anchor(kCrash, 0) + Event(5, -1 + 1) + Event(6, 1000));
  EXPECT_NE(shown.find("[I] last"), std::string::npos) << shown;
  EXPECT_NE(shown.find("\"number\": 5"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("next run"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("rest"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("\"number\": 6"), std::string::npos) << shown;
}

TEST(Timeline, TheZoneOfTheReportIsAnOption) {
  const std::string shown = Shown("2024-03-05T05:08:09.000Z [I] one\n", "", 120);
  EXPECT_NE(shown.find("taken as UTC+02:00: it crashed at 2024-03-05 05:08:09.123 UTC"),
            std::string::npos);
  EXPECT_NE(shown.find("05:08:09.000     -0.123 s  log    [I] one\n"), std::string::npos) << shown;
}

TEST(Timeline, AWrongZoneIsAskedAbout) {
  EXPECT_NE(Shown("2024-03-05T09:08:09.000Z [I] one\n", "").find("(--utc-offset)?"),
            std::string::npos);
  EXPECT_NE(Shown("2024-03-05T06:08:09.000Z [I] one\n", "").find("(--utc-offset)?"),
            std::string::npos);
  EXPECT_EQ(Shown("2024-03-05T07:08:08.000Z [I] one\n", "").find("(--utc-offset)?"),
            std::string::npos);
}

TEST(Timeline, WithoutTheOptionTheZoneIsThisMachines) {
  const char* const before = getenv("TZ");
  const std::string saved = before == nullptr ? "" : before;
  setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
  tzset();
  const Timeline timeline = MakeTimeline(Sample(), {});
  before == nullptr ? unsetenv("TZ") : setenv("TZ", saved.c_str(), 1);
  tzset();
  EXPECT_EQ(timeline.zone, "UTC-05:00, as on this machine");
  EXPECT_EQ(timeline.crash_micros, kCrash + int64_t{5} * 3600 * 1000000);
}

TEST(Timeline, WithoutCalendarTimesTheLastRowsAreShown) {
  const std::string shown = Shown("[I] one\n[I] two\n", Event(1, 1000) + Event(2, 1250));
  EXPECT_EQ(shown,
            std::string(kMoment) +
                "  (the log: its lines have no calendar time: these are its last)\n"
                "  (the trace: it does not tell the calendar time: times are before its last "
                "event)\n"
                "  log    [I] one\n"
                "  log    [I] two\n"
                "     -0.000250 s  trace  begin video Frame  \"number\": 1  (thread 7)\n"
                "      0.000000 s  trace  begin video Frame  \"number\": 2  (thread 7)\n");
}

TEST(Timeline, TheReservedTailOfALogIsNoText) {
  const std::string shown =
      Shown("[I] one\n" + std::string(100, '\0') + "[I] two\n" + std::string(70000, '\0'), "");
  EXPECT_NE(shown.find("log    [I] one\n  log    [I] two\n"), std::string::npos) << shown;
  EXPECT_EQ(shown.find('\0'), std::string::npos);
}

TEST(Timeline, RowsAndLinesHaveBounds) {
  std::string log;
  for (size_t i = 0; i < 10 * kMaxTimelineRows; ++i) log += std::string(100000, 'x') + "\n";
  const std::string shown = Shown(log, "");
  EXPECT_LT(shown.size(), kMaxTimelineRows * (kMaxTimelineText + 100) + 1000);
  EXPECT_NE(shown.find("xxx...\n"), std::string::npos);
}

TEST(Timeline, OfAHugeFileOnlyTheEndIsRead) {
  const TempDir dir;
  TimelineOptions options;
  options.log = dir.Join("log");
  constexpr off_t kHuge = off_t{1} << 40;
  oru_test::WriteFile(options.log, "[I] first\n");
  ASSERT_EQ(truncate(options.log.c_str(), kHuge), 0);
  FILE* const file = fopen(options.log.c_str(), "a");
  ASSERT_NE(file, nullptr);
  fputs("\n[I] last\n", file);
  fclose(file);
  const Timeline timeline = MakeTimeline(Sample(), options);
  ASSERT_EQ(timeline.log.rows.size(), 1U);
  EXPECT_EQ(timeline.log.rows[0].text, "[I] last");
  EXPECT_EQ(timeline.log.notes[0], "it is large: only its end was read");
}

TEST(Timeline, WhatActsOnATerminalIsShownByNumber) {
  const std::string shown = Shown(
      "2024-03-05T07:08:09.000Z \x1b[2J\xe2\x80\xae\xff\n",
      ",{ \"name\": \"\x1b]0;x\", \"cat\": \"\x9b\", \"ph\": \"\x07\", \"ts\": 1, \"pid\": 1, "
      "\"tid\": 1, \"args\": { \"\x1b\": 1 }}\n");
  for (const char c : shown) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
  EXPECT_NE(shown.find("\\x1b[2J\\u202e"), std::string::npos) << shown;
}

TEST(Timeline, TracesMadeToDoHarmAreReadWithinBounds) {
  const std::string most = std::to_string(UINT64_MAX);
  for (const std::string& trace :
       {Anchor(INT64_MAX, 0) + Event(1, 1), Anchor(0, kCrash) + Event(1, 0),
        Anchor(kCrash, 0) + ",{ \"name\": \"a\", \"cat\": \"b\", \"ph\": \"I\", \"ts\": " + most +
            ", \"pid\": 1, \"tid\": 1}\n",
        std::string(",{ \"name\": \"\\"),
        std::string(",{ \"name\": \"a\", \"cat\": \"b\", \"ph\": \"\""),
        Event(1, 5).substr(0, 90) + "\n", std::string(3, '\0') + "\n"}) {
    EXPECT_FALSE(Shown("", trace).empty());
  }
}

TEST(Timeline, OnlyRegularFilesAreRead) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.Join("fifo").c_str(), 0600), 0);
  for (const std::string& path : {dir.Join("fifo"), dir.path(), dir.Join("absent")}) {
    TimelineOptions options;
    options.log = path;
    const Timeline timeline = MakeTimeline(Sample(), options);
    ASSERT_EQ(timeline.problems.size(), 1U);
    EXPECT_EQ(timeline.problems[0].find(path + ": "), 0U);
  }
}

TEST(Timeline, OffsetsFromUtc) {
  int minutes = 0;
  EXPECT_TRUE(ReadUtcOffset("+02:00", &minutes) && minutes == 120);
  EXPECT_TRUE(ReadUtcOffset("-0330", &minutes) && minutes == -210);
  EXPECT_TRUE(ReadUtcOffset("+5", &minutes) && minutes == 300);
  EXPECT_TRUE(ReadUtcOffset("Z", &minutes) && minutes == 0);
  for (const char* text : {"", "2", "+", "+2:0", "+2:60", "+19", "+18:01", "CET", "+02:00x",
                           "+02000", "+99999999999999999999"}) {
    EXPECT_FALSE(ReadUtcOffset(text, &minutes)) << text;
  }
}

}  // namespace
}  // namespace oru_report
