// Runs the built command.
#include <gtest/gtest.h>

#include <tuple>

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

using Arguments = std::vector<std::string>;

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
                                             {"html", "a", "b"},
                                             {"show", "--color", "blue", "a"},
                                             {"show", "--color"},
                                             {"list", "--since", "----------", "a"},
                                             {"list", "--until", "2024-3-5", "a"},
                                             {"list", "--since", "2024-13-01", "a"},
                                             {"list", "--until", "2024-02-30", "a"},
                                             {"list", "--until", "2024-03-05 24:30:00", "a"},
                                             {"group", "--kind", "signal", "a"},
                                             {"show", "--utc-offset", "CET", "a"},
                                             {"html", "--with-log", "x", "a"},
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

TEST(OruReportCommand, SaysWhatItPassedOver) {
  const TempDir dir;
  WriteSample(dir);
  oru_test::WriteFile(dir.Join("notes.md"), "notes");
  oru_test::WriteFile(dir.Join("app.log"), "a log\n");
  for (const char* command : {"list", "show", "html", "json", "group"}) {
    const ChildResult result = Command({command, dir.path()});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err, "oru-report: passed over: 1 file of another kind, 1 that is no report\n")
        << command;
  }
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
  for (const std::string& path : {dir.Join("x.log"), dir.Join("absent.log")}) {
    const ChildResult result = Command({"show", path});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.err.find(path), std::string::npos) << result.err;
  }
}

TEST(OruReportCommand, ShowsWhatACutReportHasAndSaysSo) {
  const TempDir dir;
  const std::string whole = oru_report_test::kSignalReport;
  oru_test::WriteFile(dir.Join("cut.log"), whole.substr(0, whole.find("Binary Images:")));
  const ChildResult result = Command({"show", dir.Join("cut.log")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_NE(result.out.find("OruRTC::Engine::join(int)"), std::string::npos);
  EXPECT_EQ(result.err,
            "oru-report: " + dir.Join("cut.log") + ": it is cut off within its threads\n");
}

TEST(OruReportCommand, ShowsTheLogBesideTheCrashedThread) {
  const TempDir dir;
  oru_test::WriteFile(dir.Join("app.log"), "2024-03-05T05:08:09.000Z [I] joined\n");
  const ChildResult result = Command(
      {"show", "--utc-offset", "+02:00", "--with-log", dir.Join("app.log"), WriteSample(dir)});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const size_t row = result.out.find("-0.123 s  log    [I] joined\n");
  EXPECT_GT(row, result.out.find("Crashed here"));
  EXPECT_LT(row, result.out.find("\nThread 100"));
}

TEST(OruReportCommand, ShowsTheReportWhereItsLogCannotBeRead) {
  const TempDir dir;
  const ChildResult result = Command({"show", "--with-log", dir.Join("absent"), WriteSample(dir)});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_NE(result.out.find("Crashed here"), std::string::npos);
  EXPECT_EQ(result.err, "oru-report: " + dir.Join("absent") + ": No such file or directory\n");
}

TEST(OruReportCommand, ShowsSeveralFilesAndStandardInput) {
  const TempDir dir;
  const std::string path = WriteSample(dir);
  oru_test::ChildOptions options;
  options.input = oru_report_test::kExceptionReport;
  const ChildResult result = oru_test::RunChild({ORU_REPORT_COMMAND, "show", path, "-"}, options);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.out.find("Signal in OruRTC::Engine::join(int)"), 0U);
  EXPECT_NE(result.out.find("\nException 'Range'"), std::string::npos);
}

TEST(OruReportCommand, ListsWhatTheFiltersLetThrough) {
  const TempDir dir;
  const std::string path = WriteSample(dir);
  for (const Arguments& filter :
       {Arguments{"--app", "A1"}, Arguments{"--kind", "Signal"}, Arguments{"--since", "2024-03-05"},
        Arguments{"--until", "2024-03-05"}, Arguments{"--frame", "Engine::join"},
        Arguments{"--since", "2024-03-05 07:08:09", "--until", "2024-03-05 07:08:09"}}) {
    Arguments arguments = {"list", dir.path()};
    arguments.insert(arguments.end(), filter.begin(), filter.end());
    EXPECT_NE(Command(arguments).out.find(path), std::string::npos) << filter[0];
  }
  for (const Arguments& filter :
       {Arguments{"--app", "A2"}, Arguments{"--kind", "Exception"}, Arguments{"--sdk", "7"},
        Arguments{"--since", "2024-03-06"}, Arguments{"--until", "2024-03-04"},
        Arguments{"--frame", "leave"}}) {
    Arguments arguments = {"list", dir.path()};
    arguments.insert(arguments.end(), filter.begin(), filter.end());
    EXPECT_EQ(Command(arguments).out, "no reports\n") << filter[0];
  }
}

TEST(OruReportCommand, HelpsWithEveryCommand) {
  for (const char* command : {"list", "show", "html", "json", "group", "diff", "doctor"}) {
    const ChildResult help = Command({command, "--help"});
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_EQ(help.out.find(std::string("usage: oru-report ") + command), 0U) << help.out;
  }
}

TEST(OruReportCommand, SaysHowSymbolsAreKeptWhereTheyAreLookedFor) {
  for (const Arguments& arguments : {Arguments{"--help"}, Arguments{"show", "--help"}}) {
    const std::string help = Command(arguments).out;
    EXPECT_NE(help.find("scripts/symbols --output kept --strip"), std::string::npos) << help;
  }
  EXPECT_EQ(Command({"list", "--help"}).out.find("scripts/symbols"), std::string::npos);
}

TEST(OruReportCommand, TellsOfPlacesForSymbolsThatAreNotThere) {
  const TempDir dir;
  const std::string path = WriteSample(dir);
  for (const char* command : {"show", "html", "json"}) {
    const ChildResult result = Command({command, "--symbols", dir.Join("absent"), path});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "oru-report: " + dir.Join("absent") + ": No such file or directory\n");
    EXPECT_NE(result.out.find("OruRTC::Engine::join(int)"), std::string::npos);
    EXPECT_EQ(Command({command, "--symbols", dir.path(), path}).exit_code, 0);
  }
}

TEST(OruReportCommand, MarksFramesByLetterAndColour) {
  const TempDir dir;
  const std::string path = WriteSample(dir);
  const std::string plain = Command({"show", "--no-source", path}).out;
  const std::string colored = Command({"show", "--no-source", "--color", "always", path}).out;
  for (const auto& [letter, color, name] :
       {std::make_tuple("A", "\x1b[1m", "host + 0x1234"),
        std::make_tuple("S", "\x1b[1;36m", "OruRTC::Engine::join(int) + 28"),
        std::make_tuple(".", "", "__libc_start_main + 133")}) {
    EXPECT_NE(plain.find(std::string(letter) + "  " + name), std::string::npos) << plain;
    const std::string end = "\x1b[0m";
    EXPECT_NE(colored.find(std::string(color) + letter + end + "  " + color + name + end),
              std::string::npos)
        << colored;
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
