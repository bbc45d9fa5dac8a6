#include "tests/crash_matrix/matrix_rows.h"

#include <signal.h>

#include <algorithm>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

using Texts = std::vector<std::string>;

// One other crash comes meanwhile.
Row Refusing(Row row) {
  row.said = {kSaysRefused};
  return row;
}

// One thread cannot be read.
Row Unreadable(Row row) {
  row.unreadable = 1;
  return row;
}

std::vector<Row> FaultRows() {
  return {
      {"NullWriteOnTheMainThread", "WriteToNull", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      Ignored(
          {"NullWriteOutsideTheSdk", "WriteToNull", BySignal(SIGSEGV), 0, {}, {"--outside-sdk"}}),
      {"WildReadOnANamedWorker",
       "ReadWildPointer",
       BySignal(SIGSEGV),
       1,
       {"ReadWildPointer"},
       {"--worker"}},
      {"CallThroughANullPointer", "CallThroughNull", BySignal(SIGSEGV), 1, {"11CallThroughEm"}},
      {"CallThroughAGarbagePointer",
       "CallThroughGarbage",
       BySignal(SIGSEGV),
       1,
       {"11CallThroughEm"}},
      {"CallThroughANonCanonicalPointer",
       "CallThroughNonCanonical",
       BySignal(SIGSEGV),
       1,
       {"11CallThroughEm"}},
      {"WriteToAReadOnlyPage",
       "WriteToReadOnlyPage",
       BySignal(SIGSEGV),
       1,
       {"WriteToReadOnlyPage"}},
      {"JumpIntoANonExecutablePage", "JumpIntoData", BySignal(SIGSEGV), 1, {"11CallThroughEm"}},
      {"TruncatedMap", "ReadTruncatedMap", BySignal(SIGBUS), 1, {"ReadTruncatedMap"}},
      {"IntegerDivision", "DivideByZero", BySignal(SIGFPE), 1, {"DivideByZero"}},
      {"IllegalInstruction", "IllegalInstruction", BySignal(SIGILL), 1, {"IllegalInstruction"}},
      // These are reported and survived.
      {"Breakpoint", "Breakpoint", ByExit(97), 1, {"Breakpoint"}},
      {"ForbiddenSystemCall", "ForbiddenSystemCall", ByExit(97), 1, {"ForbiddenSystemCall"}},
      {"FaultUnderAFilterOfSystemCalls",
       "FaultUnderAFilterOfSystemCalls",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
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

// The fault is at the function's first instruction, and no other frame is the SDK's.
Row AtOnce(const char* name, const char* scenario, unsigned traits = kOrdinary) {
  Row row{name, scenario, BySignal(SIGSEGV), 1, {}, {"--outside-sdk"}, traits};
  row.section_frames = {"OruRTCFaultsAtOnce"};
  return row;
}

std::vector<Row> FirstInstructionRows() {
  return {
      AtOnce("FaultAtTheFirstInstruction", "FaultAtOnce"),
      AtOnce("FaultAtTheFirstInstructionAndTheCallbackFaults", "FaultAtOnceAndTheCallbackFaults"),
      AtOnce("FaultAtTheFirstInstructionAndTheSinkFaults", "FaultAtOnceAndTheSinkFaults"),
      AtOnce("FaultAtTheFirstInstructionAndTheCallbackHangs", "FaultAtOnceAndTheCallbackHangs",
             kWaitsForDeadline),
  };
}

std::vector<Row> ThreadRows() {
  Row raised{"SignalRaisedDuringAnotherThreadsReport",
             "SecondThreadRaises",
             BySignal(SIGSEGV),
             1,
             {"WriteToNull"}};
  raised.said = {"raised and went on"};
  return {
      {"TwentyThreadsTogether", "TwentyThreadsFault", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      {"TwentyThreadsBesideAHundredWaiting",
       "TwentyThreadsFaultBesideAHundredWaiting",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
      {"TwentyThreadsAndTheCallbackNeverReturns",
       "TwentyThreadsFaultAndTheCallbackHangs",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"},
       {},
       kWaitsForDeadline},
      Refusing({"FaultDuringAnotherThreadsReport",
                "SecondThreadFaults",
                BySignal(SIGSEGV),
                1,
                {"WriteToNull"}}),
      Refusing({"AbortDuringAnotherThreadsReport",
                "SecondThreadAborts",
                BySignal(SIGSEGV),
                1,
                {"WriteToNull"}}),
      raised,
      {"FaultBesideTwoHundredWaitingThreads",
       "FaultBesideTwoHundredWaitingThreads",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
      // The main thread is still listed.
      Unreadable({"FaultAfterTheMainThreadHasEnded",
                  "FaultAfterTheMainThreadHasEnded",
                  BySignal(SIGSEGV),
                  1,
                  {"WriteToNull"}}),
  };
}

std::vector<Row> CallbackRows() {
  // The stack that crashes are handled on, to its end: what crashed is too far up for the block.
  Row overflow{"CallbackOverflowsItsStack", "CallbackOverflowsItsStack", BySignal(SIGSEGV)};
  overflow.section_frames = {"WriteToNull"};
  overflow.block_frames = {"FillTheStack"};
  Row facade{
      "CallbackCallsTheFacade", "CallbackUsesTheFacade", BySignal(SIGSEGV), 1, {"WriteToNull"}};
  facade.texts = {"UserCustomInfo:\nfrom the callback"};
  return {
      // The report is rescued where the callback ends it.
      {"CallbackFaultsAlike",
       "CallbackFaultsAlike",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull", "TrigerCrashHanlerCallback"}},
      Refusing({"CallbackFaultsOtherwise",
                "CallbackFaultsOtherwise",
                BySignal(SIGFPE),
                1,
                {"DivideByZero", "TrigerCrashHanlerCallback", "WriteToNull"}}),
      {"CallbackAborts",
       "CallbackAborts",
       BySignal(SIGABRT),
       1,
       {"abort", "TrigerCrashHanlerCallback", "WriteToNull"}},
      overflow,
      {"CallbackSurvivesAnAbort", "CallbackSurvivesAnAbort", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      {"CallbackThrowsBelowACatch",
       "CallbackThrowsBelowACatch",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull", "CallbackThrowsBelowACatch"}},
      {"LogSinkThrowsBelowACatch",
       "SinkThrowsBelowACatch",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull", "SinkThrowsBelowACatch"}},
      {"CallbackCancelsItsThread", "CancelledInTheCallback", BySignal(SIGSEGV), 1, {"WriteToNull"}},
      facade,
      {"AbortWithSignalsBlockedAndTheCallbackFaults",
       "AbortWithSignalsBlockedAndTheCallbackFaults",
       BySignal(SIGSEGV),
       1,
       {"abort", "TrigerCrashHanlerCallback", "WriteToNull"}},
      {"AbortWithSignalsBlockedAndTheSinkFaults",
       "AbortWithSignalsBlockedAndTheSinkFaults",
       BySignal(SIGFPE),
       1,
       {"abort"}},
      {"AbortWithSignalsBlockedAndThePredecessorFaults",
       "AbortWithSignalsBlockedAndThePredecessorFaults",
       BySignal(SIGSEGV),
       1,
       {"abort"}},
      // It faults while it logs that it was refused, too, with the signal blocked.
      {"LogSinkFaults", "SinkFaults", BySignal(SIGFPE), 1, {"DivideByZero", "WriteToNull"}},
  };
}

// The report is rescued shortly before the bound.
Row HangRow(const char* name, const char* scenario, Ending ending, const char* frame) {
  return {name, scenario, ending, 1, {frame}, {}, kWaitsForDeadline};
}

std::vector<Row> HangRows() {
  constexpr char kFault[] = "WriteToNull";
  return {
      HangRow("CallbackNeverReturns", "CallbackNeverReturns", BySignal(SIGSEGV), kFault),
      HangRow("CallbackSpins", "CallbackSpins", BySignal(SIGFPE), "DivideByZero"),
      HangRow("CallbackBlocksSignalsAndHangs", "CallbackBlocksSignalsAndHangs", BySignal(SIGSEGV),
              kFault),
      HangRow("CallbackBlocksSignalsBesideAnotherThread",
              "CallbackBlocksSignalsBesideAnotherThread", BySignal(SIGSEGV), kFault),
      HangRow("CallbackHangsWhileAThreadAwaitsSignals", "CallbackHangsWhileAThreadAwaitsSignals",
              BySignal(SIGSEGV), kFault),
      HangRow("CallbackHangsWhileAThreadAwaitsAllSignals",
              "CallbackHangsWhileAThreadAwaitsAllSignals", BySignal(SIGSEGV), kFault),
      HangRow("CallbackHangsInAThreadThatBlocksSignals", "AbortWithAllSignalsBlocked",
              BySignal(SIGABRT), "abort"),
      HangRow("LogSinkNeverReturns", "SinkHangs", BySignal(SIGSEGV), kFault),
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
  for (const auto& group : {FaultRows(),     FirstInstructionRows(),
                            ThreadRows(),    CallbackRows(),
                            HangRows(),      DeadlineRows(),
                            HandlerRows(),   LifeCycleRows(),
                            ExitRows(),      ProcessRows(),
                            PlaceRows(),     NameRows(),
                            OverflowRows(),  DamagedStackRows(),
                            LibraryRows(),   CrowdRows(),
                            ExceptionRows(), ObjcRows(),
                            NewRows(),       HeapRows(),
                            LockRows()}) {
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
