#include "oru_report/model/report_name.h"

#include <gtest/gtest.h>

namespace oru_report {
namespace {

TEST(ReportName, HasFiveFields) {
  const ReportName name = ParseReportName("Crash_A1_S1_Signal_2024-03-05-07-08-09.log");
  EXPECT_EQ(name.app, "A1");
  EXPECT_EQ(name.session, "S1");
  EXPECT_EQ(name.kind, "Signal");
  EXPECT_EQ(name.time, "2024-03-05 07:08:09");
}

TEST(ReportName, KeepsWhatBrowsersAndPackersAdd) {
  for (const char* name : {"Crash_A1_S1_Signal_2024-03-05-07-08-09 (1).log",
                           "Crash_A1_S1_Signal_2024-03-05-07-08-09.log (12)",
                           "Crash_A1_S1_Signal_2024-03-05-07-08-09.log.gz",
                           "Crash_A1_S1_Signal_2024-03-05-07-08-09.log (1).gz",
                           "Crash_A1_S1_Signal_2024-03-05-07-08-09.txt"}) {
    EXPECT_EQ(ParseReportName(name).session, "S1") << name;
    EXPECT_EQ(ParseReportName(name).time, "2024-03-05 07:08:09") << name;
  }
}

TEST(ReportName, OfMoreFieldsTellsKindAndTime) {
  const ReportName name = ParseReportName("Crash_my_app_S1_Exception_2024-03-05-07-08-09.log");
  EXPECT_EQ(name.app, "");
  EXPECT_EQ(name.kind, "Exception");
  EXPECT_EQ(name.time, "2024-03-05 07:08:09");
}

TEST(ReportName, OfAnotherFormTellsNothing) {
  for (const char* name :
       {"", "report (1).log", "Crash_", "Crash__", "_", "Crash_a_b.log", "Crash.log"}) {
    const ReportName parsed = ParseReportName(name);
    EXPECT_EQ(parsed.app + parsed.session + parsed.kind + parsed.time, "") << name;
  }
}

}  // namespace
}  // namespace oru_report
