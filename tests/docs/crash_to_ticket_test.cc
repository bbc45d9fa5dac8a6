// The documents' app with a log, a trace and crash capture: what is left of it, however it ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <map>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/rtc_base/trace_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/small_disk.h"

namespace {

using oru_test::ChildOptions;
using oru_test::ChildResult;
using oru_test::ReadFile;
using oru_test::ReadLogFile;
using oru_test::SplitLines;
using oru_test::TempDir;

constexpr size_t kLines = 201;
constexpr size_t kEvents = 200;

ChildResult RunApp(const std::string& folder, const std::string& session, const std::string& end,
                   const ChildOptions& options = {}) {
  return oru_test::RunChild({CRASH_TO_TICKET, folder, session, end}, options);
}

// "frame 7" of "2024-03-05T07:08:09.123Z [I] (crash_to_ticket.cc:32): frame 7".
std::string TextOf(const std::string& line) {
  const size_t at = line.find("): ");
  return at == std::string::npos ? line : line.substr(at + 3);
}

// The first `count` lines of a run that ended like that.
std::vector<std::string> ExpectedTexts(size_t count, const std::string& end) {
  std::vector<std::string> texts;
  for (size_t i = 0; i + 1 < kLines; ++i) texts.push_back("frame " + std::to_string(i));
  texts.push_back("the end: " + end);
  texts.resize(count);
  return texts;
}

std::vector<std::string> LogTexts(const std::string& folder) {
  std::vector<std::string> texts;
  for (const std::string& line : SplitLines(ReadLogFile(folder + "/app.log"))) {
    texts.push_back(TextOf(line));
  }
  return texts;
}

void ExpectAllEvents(const std::string& path) {
  EXPECT_EQ(oru_test::JsonError(path), "");
  const std::string text = ReadFile(path);
  const oru_test::TraceText trace = oru_test::ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_EQ(trace.Lost(), 0u);
  size_t number = 0;
  for (const oru_test::TraceTextEvent& event : trace.Others()) {
    if (event.name == "Frame") EXPECT_EQ(event.Number("number"), number++);
  }
  EXPECT_EQ(number, kEvents);
}

size_t Reports(const std::string& folder) {
  size_t reports = 0;
  for (const std::string& file : oru_test::ListFilesRecursively(folder + "/dumps")) {
    reports += file.find("Crash_example_") != std::string::npos ? 1 : 0;
  }
  return reports;
}

struct Ending {
  const char* how;
  int signal;
  size_t reports;
};

void PrintTo(const Ending& ending, std::ostream* out) { *out << ending.how; }

class CrashToTicketEndings : public testing::TestWithParam<Ending> {};

TEST_P(CrashToTicketEndings, LeaveEveryLineAndEveryEvent) {
  const Ending& ending = GetParam();
  const TempDir dir;
  const ChildResult child = RunApp(dir.path(), "s1", ending.how);
  EXPECT_EQ(child.signal, ending.signal) << child.Ending();
  EXPECT_EQ(LogTexts(dir.path()), ExpectedTexts(kLines, ending.how));
  ExpectAllEvents(dir.Join("s1.json"));
  EXPECT_EQ(Reports(dir.path()), ending.reports);
}

INSTANTIATE_TEST_SUITE_P(, CrashToTicketEndings,
                         testing::Values(Ending{"crash", SIGSEGV, 1}, Ending{"abort", SIGABRT, 1},
                                         Ending{"kill", SIGKILL, 0}, Ending{"exit", 0, 0}),
                         [](const auto& info) { return std::string(info.param.how); });

void CrashOn(const oru_test::SmallDisk& disk) {
  ChildOptions options;
  options.before = [&disk] { disk.Enter(); };
  const ChildResult child = RunApp(disk.Join(""), "s1", "crash", options);
  EXPECT_EQ(child.signal, SIGSEGV) << child.Ending();
}

// Room for the log's reserved space and the trace.
TEST(CrashToTicket, ADiskThatIsNearlyFullKeepsEveryLineAndEveryEvent) {
  const oru_test::SmallDisk disk(112 << 10);
  CrashOn(disk);
  EXPECT_EQ(LogTexts(disk.Join("")), ExpectedTexts(kLines, "crash"));
  ExpectAllEvents(disk.Join("s1.json"));
}

TEST(CrashToTicket, AFullDiskKeepsWholeLinesAndTheCrashIsTheSame) {
  const oru_test::SmallDisk disk(8 << 10);
  CrashOn(disk);
  const std::vector<std::string> texts = LogTexts(disk.Join(""));
  EXPECT_GT(texts.size(), 0u);
  EXPECT_EQ(texts, ExpectedTexts(texts.size(), "crash"));
  // A report without the other threads, which is written first where one of them runs, may fit.
  EXPECT_LE(Reports(disk.Join("")), 1u);
}

TEST(CrashToTicket, FiftyCrashesAtOnceInOneFolderLeaveAllOfEach) {
  constexpr size_t kApps = 50;
  const TempDir dir;
  ChildOptions options;
  options.timeout_s = 50;
  std::vector<int> signals(kApps);
  std::vector<std::thread> apps;
  for (size_t i = 0; i < kApps; ++i) {
    apps.emplace_back([&, i] {
      signals[i] = RunApp(dir.path(), "s" + std::to_string(i), "crash", options).signal;
    });
  }
  for (std::thread& app : apps) app.join();
  EXPECT_EQ(signals, std::vector<int>(kApps, SIGSEGV));
  EXPECT_EQ(Reports(dir.path()), kApps);
  for (size_t i = 0; i < kApps; ++i) ExpectAllEvents(dir.Join("s" + std::to_string(i) + ".json"));
  std::map<std::string, size_t> counts;
  for (const std::string& text : LogTexts(dir.path())) ++counts[text];
  counts.erase("");
  for (const std::string& text : ExpectedTexts(kLines, "crash"))
    EXPECT_EQ(counts[text], kApps) << text;
  EXPECT_EQ(counts.size(), kLines);
}

TEST(CrashToTicket, TheReportIsShownWithItsLastLinesAndEvents) {
  const TempDir dir;
  RunApp(dir.path(), "s1", "crash");
  const auto files = oru_test::ListFilesRecursively(dir.Join("dumps"));
  ASSERT_EQ(files.size(), 1u);
  const ChildResult shown = oru_test::RunChild(
      {ORU_REPORT_COMMAND, "show", "--no-source", "--with-log", dir.Join("app.log"), "--with-trace",
       dir.Join("s1.json"), dir.Join("dumps/" + files[0])});
  EXPECT_EQ(shown.exit_code, 0) << shown.err;
  const size_t before = shown.out.find("Before the crash\n");
  ASSERT_NE(before, std::string::npos) << shown.out;
  const std::string part = shown.out.substr(before, shown.out.find("\n\n", before) - before);
  EXPECT_NE(part.find("log    [I] (crash_to_ticket.cc:"), std::string::npos) << part;
  EXPECT_NE(part.find("the end: crash\n"), std::string::npos) << part;
  EXPECT_NE(part.find("trace  mark  video Frame  \"number\": 199  (the crashed thread)"),
            std::string::npos)
      << part;
  EXPECT_EQ(part.find("number\": 150 "), std::string::npos) << part;
}

}  // namespace
