#include "tests/crash_matrix/matrix_rows.h"

#include <signal.h>

#include <algorithm>

#include "tests/crash_matrix/matrix_row_groups.h"

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
  Row raised{"SignalRaisedDuringAnotherThreadsReport", "SecondThreadRaises", BySignal(SIGSEGV)};
  raised.said = {"raised and went on"};
  return {
      {"TwentyThreadsTogether", "TwentyThreadsFault", BySignal(SIGSEGV)},
      {"TwentyThreadsBesideAHundredWaiting", "TwentyThreadsFaultBesideAHundredWaiting",
       BySignal(SIGSEGV)},
      {"TwentyThreadsAndTheCallbackNeverReturns",
       "TwentyThreadsFaultAndTheCallbackHangs",
       BySignal(SIGSEGV),
       0,
       {},
       {},
       kWaitsForDeadline},
      {"FaultDuringAnotherThreadsReport", "SecondThreadFaults", BySignal(SIGSEGV)},
      {"AbortDuringAnotherThreadsReport", "SecondThreadAborts", BySignal(SIGSEGV)},
      raised,
      {"FaultBesideTwoHundredWaitingThreads",
       "FaultBesideTwoHundredWaitingThreads",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
  };
}

std::vector<Row> CallbackRows() {
  return {
      {"CallbackFaultsAlike", "CallbackFaultsAlike", BySignal(SIGSEGV), 0},
      {"CallbackFaultsOtherwise", "CallbackFaultsOtherwise", BySignal(SIGFPE), 0},
      {"CallbackAborts", "CallbackAborts", BySignal(SIGABRT), 0},
      {"CallbackCallsTheFacade", "CallbackUsesTheFacade", BySignal(SIGSEGV)},
      // It faults while it logs that it was refused, too, with the signal blocked.
      {"LogSinkFaults", "SinkFaults", BySignal(SIGFPE), 0},
  };
}

Row HangRow(const char* name, const char* scenario, Ending ending) {
  return {name, scenario, ending, 0, {}, {}, kWaitsForDeadline};
}

std::vector<Row> HangRows() {
  return {
      HangRow("CallbackNeverReturns", "CallbackNeverReturns", BySignal(SIGSEGV)),
      HangRow("CallbackSpins", "CallbackSpins", BySignal(SIGFPE)),
      // Nothing else ends a process of one thread that blocks the timer's signal.
      HangRow("CallbackBlocksSignalsAndHangs", "CallbackBlocksSignalsAndHangs", BySignal(SIGKILL)),
      HangRow("CallbackBlocksSignalsBesideAnotherThread",
              "CallbackBlocksSignalsBesideAnotherThread", BySignal(SIGSEGV)),
      HangRow("CallbackHangsWhileAThreadAwaitsSignals", "CallbackHangsWhileAThreadAwaitsSignals",
              BySignal(SIGSEGV)),
      HangRow("CallbackHangsInAThreadThatBlocksSignals", "AbortWithAllSignalsBlocked",
              BySignal(SIGABRT)),
      HangRow("LogSinkNeverReturns", "SinkHangs", BySignal(SIGSEGV)),
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
  for (const auto& group :
       {FaultRows(), ThreadRows(), CallbackRows(), HangRows(), HandlerRows(), LifeCycleRows(),
        ProcessRows(), PlaceRows(), NameRows(), OverflowRows(), DamagedStackRows(), LibraryRows(),
        CrowdRows(), ExceptionRows(), ObjcRows(), NewRows(), HeapRows(), LockRows()}) {
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
