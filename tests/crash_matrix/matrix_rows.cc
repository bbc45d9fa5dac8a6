#include "tests/crash_matrix/matrix_rows.h"

#include <signal.h>

#include <algorithm>

namespace crash_test {
namespace {

using Texts = std::vector<std::string>;

std::vector<Row> FaultRows() {
  return {
      {"NullWriteOnTheMainThread", "WriteToNull", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      {"NullWriteOutsideTheSdk", "WriteToNull", BySignal(SIGSEGV), 0, {}, {"--outside-sdk"}},
      {"WildReadOnANamedWorker",
       "ReadWildPointer",
       BySignal(SIGSEGV),
       1,
       {"ReadWildPointer"},
       {"--worker"}},
      {"CallThroughANullPointer", "CallThroughNull", BySignal(SIGSEGV), 1, {"CallThrough"}},
      {"CallThroughAGarbagePointer", "CallThroughGarbage", BySignal(SIGSEGV), 1, {"CallThrough"}},
      {"CallThroughANonCanonicalPointer",
       "CallThroughNonCanonical",
       BySignal(SIGSEGV),
       1,
       {"CallThrough"}},
      {"WriteToAReadOnlyPage",
       "WriteToReadOnlyPage",
       BySignal(SIGSEGV),
       1,
       {"WriteToReadOnlyPage"}},
      {"JumpIntoANonExecutablePage", "JumpIntoData", BySignal(SIGSEGV), 1, {"CallThrough"}},
      {"TruncatedMap", "ReadTruncatedMap", BySignal(SIGBUS), 1, {"ReadTruncatedMap"}},
      {"IntegerDivision", "DivideByZero", BySignal(SIGFPE), 1, {"DivideByZero"}},
      {"IllegalInstruction", "IllegalInstruction", BySignal(SIGILL), 1, {"IllegalInstruction"}},
      // These are reported and survived.
      {"Breakpoint", "Breakpoint", ByExit(97), 1, {"Breakpoint"}},
      {"ForbiddenSystemCall", "ForbiddenSystemCall", ByExit(97), 1, {"ForbiddenSystemCall"}},
      {"Abort", "Abort", BySignal(SIGABRT), 1, {"Abort"}},
      {"RaisedSigpipe", "RaisePipe", ByExit(97), 1, {"RaisePipe"}},
      {"RaisedSigsegv", "RaiseSegv", ByExit(97), 1, {"RaiseSegv"}},
      {"SignalSentByAnotherProcess",
       "SentByAnotherProcess",
       ByExit(97),
       1,
       {"SentByAnotherProcess"}},
  };
}

std::vector<Row> ThreadRows() {
  return {
      {"TwentyThreadsTogether", "TwentyThreadsFault", BySignal(SIGSEGV)},
      {"FaultDuringAnotherThreadsReport", "SecondThreadFaults", BySignal(SIGSEGV)},
      {"AbortDuringAnotherThreadsReport", "SecondThreadAborts", BySignal(SIGSEGV)},
  };
}

std::vector<Row> CallbackRows() {
  return {
      {"CallbackFaultsAlike", "CallbackFaultsAlike", BySignal(SIGSEGV), 0},
      {"CallbackFaultsOtherwise", "CallbackFaultsOtherwise", BySignal(SIGFPE), 0},
      {"CallbackAborts", "CallbackAborts", BySignal(SIGABRT), 0},
      {"CallbackCallsTheFacade", "CallbackUsesTheFacade", BySignal(SIGSEGV)},
      {"CallbackNeverReturns",
       "CallbackNeverReturns",
       BySignal(SIGSEGV),
       0,
       {},
       {},
       kWaitsForDeadline},
      {"LogSinkFaults", "SinkFaults", BySignal(SIGFPE), 0},
      {"LogSinkNeverReturns", "SinkHangs", BySignal(SIGSEGV), 0, {}, {}, kWaitsForDeadline},
  };
}

bool RunsHere(const Row& row) {
#ifdef ORU_TEST_SANITIZED
  return (row.traits & kNotUnderSanitizers) == 0;
#else
  return row.name != nullptr;
#endif
}

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  for (const auto& group : {FaultRows(), ThreadRows(), CallbackRows()}) {
    std::copy_if(group.begin(), group.end(), std::back_inserter(rows), RunsHere);
  }
  return rows;
}

}  // namespace

const std::vector<Row>& MatrixRows() {
  static const auto* const rows = new std::vector<Row>(AllRows());
  return *rows;
}

}  // namespace crash_test
