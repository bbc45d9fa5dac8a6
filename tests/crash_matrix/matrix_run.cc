#include "tests/crash_matrix/matrix_run.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "tests/crash_matrix/matrix_frames.h"
#include "tests/crash_matrix/matrix_place.h"
#include "tests/crash_matrix/scenario_process.h"
#include "tests/support/companion_file.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace crash_test {
namespace {

using oru_test::ChildResult;
using oru_test::CrashReportText;
using oru_test::TempDir;
using Texts = std::vector<std::string>;

// Processes that only wait for their end leave the processor to others.
constexpr int kWaitingAtOnce = 10;
constexpr char kNote[] = "note: ";
constexpr size_t kMaxWordInMessage = 200;

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The one of `words` that is missing; empty when none is.
template <typename Has>
std::string Missing(const std::vector<std::string>& words, Has has) {
  const auto missing = std::find_if_not(words.begin(), words.end(), has);
  return missing == words.end() ? "" : missing->substr(0, kMaxWordInMessage);
}

bool IsOnWorker(const Row& row) {
  return std::any_of(row.options.begin(), row.options.end(), [](const std::string& option) {
    return option == "--worker" || option == "--earlier-worker";
  });
}

std::string CheckReport(const Row& row, const std::string& text) {
  const CrashReportText report = oru_test::ParseCrashReport(text);
  if (!report.error.empty()) return "the report: " + report.error;
  const auto* worker = report.FindThread("worker");
  const bool worker_crashed =
      worker != nullptr && static_cast<int>(worker->number) == report.crash_thread;
  if (IsOnWorker(row) && !worker_crashed) return "the crashed thread is not the worker";
  if (report.threads.size() < row.threads) return "not all threads";
  if (report.images.size() < row.images) return "not all images";
  if (report.thread_failures.size() > row.unreadable)
    return "unreadable: " + report.thread_failures[0];
  const std::string frames = CheckFrames(row, report);
  if (!frames.empty()) return frames;
  const std::string part = Missing(
      row.texts, [&text](const std::string& word) { return text.find(word) != std::string::npos; });
  return part.empty() ? "" : "not in the report: " + part;
}

// Beside the report of that path.
std::string CheckCompanion(const Row& row, const std::string& path, const std::string& report) {
  const auto companion = oru_test::ParseCompanion(oru_test::ReadFile(path));
  const std::string thread =
      std::to_string(oru_test::ParseCrashReport(oru_test::ReadFile(report)).crash_thread);
  if (!companion.error.empty()) return "the companion: " + companion.error;
  if (companion.Value("companion", "verdict") != "sdk") return "the companion's verdict";
  if (companion.Value("crash", "thread") != thread) return "the companion is another crash's";
  if (companion.Value("note", "value") != "a note of the host") return "the companion's note";
  if (companion.All("log").size() != 3) return "the companion's log lines";
  const std::string part = Missing({"process", "system", "memory"},
                                   [&](const std::string& type) { return companion.Has(type); });
  if (!part.empty()) return "not in the companion: " + part;
  const bool threads = companion.All("thread").size() >= row.threads;
  return threads || (row.traits & kOneDescriptor) != 0 ? "" : "not all threads in the companion";
}

// All files under the home; those of `before` are none of the process's.
std::string CheckFiles(const Row& row, const TempDir& home, const Texts& before, bool companions) {
  int reports = 0;
  Texts left;
  for (const std::string& name : oru_test::ListFilesRecursively(home.path())) {
    if (std::find(before.begin(), before.end(), name) == before.end()) left.push_back(name);
  }
  for (const std::string& name : left) {
    if (!EndsWith(name, ".log")) continue;
    if (name.rfind(row.path, 0) != 0) return "the report's path: " + name;
    ++reports;
    std::string error = CheckReport(row, oru_test::ReadFile(home.Join(name)));
    const std::string companion = name.substr(0, name.size() - 4) + ".json";
    const auto found = std::find(left.begin(), left.end(), companion);
    if (error.empty() && companions && (row.traits & kRoomForAReportOnly) == 0) {
      if (found == left.end()) return "no companion";
      error = CheckCompanion(row, home.Join(companion), home.Join(name));
    }
    if (companions && found != left.end()) *found = name;
    if (!error.empty()) return error;
  }
  for (const std::string& name : left) {
    if (!EndsWith(name, ".log")) return "left behind: " + name;
  }
  return reports == row.reports ? "" : std::to_string(reports) + " reports";
}

std::string CheckOutput(const Row& row, const ChildResult& result) {
  const Texts lines = oru_test::SplitLines(result.err);
  const std::string line = Missing(row.said, [&lines](const std::string& expected) {
    return std::count(lines.begin(), lines.end(), expected) == 1;
  });
  return line.empty() ? "" : "not said once: " + line;
}

std::string CheckEnding(const Row& row, const ChildResult& result, int deadline_ms) {
  if (result.wall_s > kEndWithin) return "late";
  const bool waits = (row.traits & kWaitsForDeadline) != 0;
  const bool was_in_time = result.wall_s * 1000 < deadline_ms;
  if (waits && was_in_time) return "early";
  if (!waits && !was_in_time) return "waited for the deadline";
  const bool good = row.ending.signal != 0 ? result.signal == row.ending.signal
                                           : result.exit_code == row.ending.exit_code;
  return good ? "" : "ended by " + result.Ending();
}

std::set<std::string> NotesIn(const std::string& output) {
  std::set<std::string> notes;
  for (const std::string& line : oru_test::SplitLines(output)) {
    if (line.rfind(kNote, 0) == 0) notes.insert(line);
  }
  return notes;
}

// What is wrong with one process; empty when nothing is.
std::string RunOnce(const Row& row, int deadline_ms, bool companions, RowResult* run) {
  const TempDir home;
  if (!PreparePlace(row.place, home.path())) return "the place cannot be made";
  const Texts before = oru_test::ListFilesRecursively(home.path());
  Texts options = row.options;
  if (companions) options.emplace_back("--companions");
  const ChildResult result =
      RunScenario(row.scenario, home.path(), DumpDir(row.place, home.path()), deadline_ms, options);
  *run = {1, {}, result.wall_s, NotesIn(result.err)};
  std::string error = CheckEnding(row, result, deadline_ms);
  if (error.empty()) error = CheckFiles(row, home, before, companions);
  return error.empty() ? CheckOutput(row, result) : error;
}

}  // namespace

int RowResult::Wrong() const {
  int sum = 0;
  for (const auto& entry : wrong) sum += entry.second;
  return sum;
}

void RowResult::Add(const RowResult& other) {
  repetitions += other.repetitions;
  for (const auto& [what, count] : other.wrong) wrong[what] += count;
  slowest_s = std::max(slowest_s, other.slowest_s);
  notes.insert(other.notes.begin(), other.notes.end());
}

RowResult RunRow(const Row& row, const RunOptions& options) {
  const bool waits = (row.traits & kWaitsForDeadline) != 0;
  const int deadline_ms = waits && !options.real_deadline ? kShortDeadlineMs : kRealDeadlineMs;
  const auto cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  RowResult total;
  std::mutex mutex;
  std::atomic<int> left{options.repetitions};
  std::vector<std::thread> runners;
  for (int i = std::min(options.repetitions, waits ? kWaitingAtOnce : cores); i > 0; --i) {
    runners.emplace_back([&] {
      while (left-- > 0) {
        RowResult run;
        const std::string error = RunOnce(row, deadline_ms, options.companions, &run);
        if (!error.empty()) run.wrong[error] = 1;
        const std::lock_guard<std::mutex> lock(mutex);
        total.Add(run);
      }
    });
  }
  for (std::thread& runner : runners) runner.join();
  return total;
}

}  // namespace crash_test
