#include "tests/crash_matrix/matrix_run.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "tests/crash_matrix/scenario_process.h"
#include "tests/support/crash_report_parser.h"
#include "tests/support/files.h"

namespace crash_test {
namespace {

using oru_test::ChildResult;
using oru_test::CrashReportText;
using oru_test::TempDir;

// Processes that only wait for their end leave the processor to others.
constexpr int kWaitingAtOnce = 10;

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

void PreparePlace(Place place, const std::string& dump_dir) {
  if (place == Place::kReady) oru_test::MakeDirs(dump_dir);
  if (place == Place::kFile) oru_test::WriteFile(dump_dir, "in its place");
}

std::string DumpDir(Place place, const TempDir& home) {
  return home.Join(place == Place::kMissingTwoLevels ? "missing/dumps" : "dumps");
}

// The frames of the crashed thread: its own section, and its block among all threads.
std::vector<std::string> CrashedFrames(const CrashReportText& report) {
  std::vector<std::string> frames = report.crash_frames;
  const auto* block = report.FindThread(static_cast<uint32_t>(report.crash_thread));
  if (block != nullptr) frames.insert(frames.end(), block->frames.begin(), block->frames.end());
  return frames;
}

std::string CheckReport(const Row& row, const std::string& text) {
  const CrashReportText report = oru_test::ParseCrashReport(text);
  if (!report.error.empty()) return "the report: " + report.error;
  const auto* worker = report.FindThread("worker");
  const bool on_worker = std::count(row.options.begin(), row.options.end(), "--worker") != 0;
  if (on_worker && (worker == nullptr || static_cast<int>(worker->number) != report.crash_thread)) {
    return "the crashed thread is not the worker";
  }
  const auto frames = CrashedFrames(report);
  for (const std::string& word : row.frames) {
    if (!CrashReportText::AnyContains(frames, word)) return "no frame " + word;
  }
  return "";
}

// All files under the home, where every place but the row's own is new.
std::string CheckFiles(const Row& row, const TempDir& home) {
  int reports = 0;
  for (const std::string& name : oru_test::ListFilesRecursively(home.path())) {
    if (row.place == Place::kFile && name == "dumps") continue;
    if (!EndsWith(name, ".log")) return "left behind: " + name;
    ++reports;
    const std::string error = CheckReport(row, oru_test::ReadFile(home.Join(name)));
    if (!error.empty()) return error;
  }
  return reports == row.reports ? "" : std::to_string(reports) + " reports";
}

std::string CheckEnding(const Row& row, const ChildResult& result) {
  if (result.wall_s > kEndWithin) return "late";
  const bool good = row.ending.signal != 0 ? result.signal == row.ending.signal
                                           : result.exit_code == row.ending.exit_code;
  return good ? "" : "ended by " + result.Ending();
}

// What is wrong with one process; empty when nothing is.
std::string RunOnce(const Row& row, int deadline_ms, double* wall_s) {
  const TempDir home;
  const std::string dump_dir = DumpDir(row.place, home);
  PreparePlace(row.place, dump_dir);
  const ChildResult result =
      RunScenario(row.scenario, home.path(), dump_dir, deadline_ms, row.options);
  *wall_s = result.wall_s;
  const std::string error = CheckEnding(row, result);
  return error.empty() ? CheckFiles(row, home) : error;
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
}

RowResult RunRow(const Row& row, int repetitions, bool real_deadline) {
  const bool waits = (row.traits & kWaitsForDeadline) != 0;
  const int deadline_ms = waits && !real_deadline ? kShortDeadlineMs : kRealDeadlineMs;
  const auto cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  RowResult total;
  std::mutex mutex;
  std::atomic<int> left{repetitions};
  std::vector<std::thread> runners;
  for (int i = std::min(repetitions, waits ? kWaitingAtOnce : cores); i > 0; --i) {
    runners.emplace_back([&] {
      while (left-- > 0) {
        double wall_s = 0;
        const std::string error = RunOnce(row, deadline_ms, &wall_s);
        const std::lock_guard<std::mutex> lock(mutex);
        total.Add({1, {}, wall_s});
        if (!error.empty()) ++total.wrong[error];
      }
    });
  }
  for (std::thread& runner : runners) runner.join();
  return total;
}

}  // namespace crash_test
