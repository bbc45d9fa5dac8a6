// Runs the built command.
#include <gtest/gtest.h>

#include "tests/oru_report/sample.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::TempDir;

ChildResult Command(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), ORU_REPORT_COMMAND);
  return oru_test::RunChild(arguments);
}

std::string WriteSample(const TempDir& dir) {
  std::string path = dir.Join("Crash_A1_S1_Signal_2024-03-05-07-08-09.log");
  oru_test::WriteFile(path, oru_report_test::kSignalReport);
  return path;
}

TEST(OruReportCommand, TellsItsUsage) {
  const ChildResult help = Command({"--help"});
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_NE(help.out.find("usage: oru-report list"), std::string::npos);
  EXPECT_EQ(Command({"--version"}).out.substr(0, 11), "oru-report ");
}

TEST(OruReportCommand, RefusesWrongUseWithOneSentence) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"look"},
                                             {"show"},
                                             {"show", "a", "b"},
                                             {"show", "--color", "blue", "a"},
                                             {"show", "--color"},
                                             {"list", "--output", "x", "a"},
                                             {"html", "--json", "a"}}) {
    const ChildResult result = Command(arguments);
    EXPECT_EQ(result.exit_code, 2) << result.err;
    EXPECT_EQ(oru_test::SplitLines(result.err).size(), 1U) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST(OruReportCommand, ListsAFolder) {
  const TempDir dir;
  const std::string path = WriteSample(dir);
  const ChildResult table = Command({"list", dir.path()});
  EXPECT_EQ(table.exit_code, 0);
  EXPECT_NE(table.out.find(path), std::string::npos);
  EXPECT_NE(Command({"list", "--json", dir.path()}).out.find("\"kind\": \"Signal\""),
            std::string::npos);
}

TEST(OruReportCommand, ShowsWithoutColorsInAPipe) {
  const TempDir dir;
  const ChildResult result = Command({"show", WriteSample(dir)});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_NE(result.out.find("Crashed here"), std::string::npos);
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST(OruReportCommand, ColorsWhenAsked) {
  const TempDir dir;
  const ChildResult result = Command({"show", "--color", "always", WriteSample(dir)});
  EXPECT_NE(result.out.find("\x1b[1;31m"), std::string::npos);
}

TEST(OruReportCommand, WritesThePageIntoAFile) {
  const TempDir dir;
  const ChildResult result = Command({"html", "--output", dir.Join("page.html"), WriteSample(dir)});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(oru_test::ReadFile(dir.Join("page.html")).substr(0, 15), "<!DOCTYPE html>");
}

TEST(OruReportCommand, FailsOnWhatIsNoReport) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("x.log"), "nothing of the kind\n");
  for (const std::string& path : {dir.Join("x.log"), dir.Join("absent.log"), dir.path()}) {
    const ChildResult result = Command({"show", path});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.err.find(path), std::string::npos) << result.err;
  }
}

TEST(OruReportCommand, FailsWhenItsOutputCannotBeWritten) {
  const TempDir dir;
  const std::string path = WriteSample(dir);
  const ChildResult result =
      oru_test::RunChild({"/bin/sh", "-c", ORU_REPORT_COMMAND " show " + path + " >/dev/full"});
  EXPECT_EQ(result.exit_code, 1);
}

}  // namespace
