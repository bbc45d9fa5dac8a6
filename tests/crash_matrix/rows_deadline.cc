// A stuck report where timers, signals or their effect are not to be had.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

constexpr int kShellStatus = 128;

Row Hang(const char* scenario, Ending ending = BySignal(SIGSEGV),
         const char* frame = "WriteToNull") {
  return {scenario, scenario, ending, 1, {frame}, {}, kWaitsForDeadline};
}

Row Killed(const char* scenario) {
  Row row = {scenario, scenario, BySignal(SIGKILL), 0, {}, {}, kWaitsForDeadline};
  row.said = {kSaysFault};
  return row;
}

Row OnAWorker(Row row, const char* name) {
  row.name = name;
  row.options = {"--worker"};
  return row;
}

// Reading the main thread takes a signal that cannot be had.
Row OnAWorkerWithoutSignals(Row row, const char* name) {
  row.unreadable = 1;
  return OnAWorker(std::move(row), name);
}

// The threads are read from /proc, which shows another namespace here.
Row InTheFirstProcess(Row row) {
  row.threads = 0;
  row.unreadable = 1;
  row.section_frames = row.frames;
  row.frames = {};
  return row;
}

}  // namespace

std::vector<Row> DeadlineRows() {
  return {
      // The deadline needs no signal.
      Hang("HangsWithoutPendingSignals"),
      OnAWorkerWithoutSignals(Hang("HangsWithoutPendingSignals"),
                              "HangsWithoutPendingSignalsOnAWorker"),
      Hang("HangsWithOnePendingSignal"),
      Hang("HangsWithTwoPendingSignals"),
      OnAWorkerWithoutSignals(
          Hang("AbortsAndHangsWithoutPendingSignals", BySignal(SIGABRT), "abort"),
          "AbortsAndHangsWithoutPendingSignals"),
      Hang("HangsWithTheAlarmTaken"),
      Hang("HangsWithoutAFreeSignal"),
      Hang("BlocksSignalsAndHangsWithoutAFreeSignal"),
      {"SurvivesWithoutPendingSignals",
       "SurvivesWithoutPendingSignals",
       ByExit(97),
       1,
       {"SurvivesWithoutPendingSignals"}},
      Killed("HangsWhereNoThreadCanBeMade"),
      // Where the signal does nothing, the process ends with the status that shells show for it.
      Hang("HangsWhereTheSignalHasNoEffect", ByExit(kShellStatus + SIGSEGV)),
      InTheFirstProcess(Hang("HangsInTheFirstProcess", ByExit(kShellStatus + SIGSEGV))),
      InTheFirstProcess(
          Hang("AbortsAndHangsInTheFirstProcess", ByExit(kShellStatus + SIGABRT), "abort")),
      InTheFirstProcess({"FaultInTheFirstProcess",
                         "FaultInTheFirstProcess",
                         ByExit(kShellStatus + SIGSEGV),
                         1,
                         {"WriteToNull"}}),
  };
}

}  // namespace crash_test
