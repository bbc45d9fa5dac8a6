// Exceptions of both languages that nobody catches, and what goes wrong while one is on its way.
#include <signal.h>

#include <utility>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

constexpr char kSignalReport[] = "dumps/1.0/Crash_A_S_Signal_";
constexpr char kExceptionReport[] = "dumps/1.0/Crash_A_S_Exception_";
// An exception has the stack of where it was raised first; the module's frames are not on it.
constexpr char kHandler[] = "OruRTCExceptionHandler";

constexpr char kRaised[] =
    "uncaught exception 'MatrixException', reason: 'raised once'\n\nCrash Thread Backtrace:\n";
constexpr char kMade[] =
    "uncaught exception 'MatrixException', reason: 'made before'\n\nCrash Thread Backtrace:\n";

// Ends in std::terminate, whose abort is reported.
Row Terminates(const char* name, const char* scenario, const char* frame) {
  Row row{name, scenario, BySignal(SIGABRT), 1, {frame, "terminate", "abort"}};
  row.path = kSignalReport;
  return row;
}

Row Aborts(const char* name, const char* scenario) {
  Row row{name, scenario, BySignal(SIGABRT), 1, {scenario, "abort"}};
  row.path = kSignalReport;
  return row;
}

Row Faults(const char* name, const char* scenario, std::vector<std::string> frames) {
  Row row{name, scenario, BySignal(SIGSEGV), 1, std::move(frames)};
  row.path = kSignalReport;
  return row;
}

// An Objective-C exception: the runtime of GNUstep exits after the handler.
Row Raises(const char* name, const char* scenario, const char* frame, const char* what) {
  Row row{name, scenario, ByExit(1), 1, {frame}};
  row.block_frames = {kHandler};
  row.path = kExceptionReport;
  // The report is the ordinary one, not rescued.
  row.said = {kSaysOurs};
  row.texts = {std::string("\n\nApplication Specific Information:\n*** Terminating app due to ") +
               what};
  return row;
}

// Raised elsewhere before: where it came from the second time is in the block alone.
Row RaisesAgain(const char* name, const char* scenario) {
  Row row = Raises(name, scenario, "OruRTCScenario", kRaised);
  row.block_frames.emplace_back(scenario);
  return row;
}

constexpr char kHalvesRead[] =
    "uncaught exception 'a\uFFFDb', reason: 'a\uFFFDb'\n\nCrash Thread Backtrace:\n";

// The raising function is the only one of the SDK's, and the host's is above it.
Row OnlyRaiser(const char* scenario, const char* frame, const char* what) {
  Row row = Raises(scenario, scenario, frame, what);
  row.section_frames = {frame};
  row.frames = {};
  row.options = {"--outside-sdk"};
  return row;
}

// The report is rescued before it knows the exception's words.
Row Hangs(const char* name, const char* scenario, const char* frame) {
  Row row{name, scenario, BySignal(SIGABRT), 1, {frame}};
  // In the section it stands where it began, in the block where the callback hangs.
  row.section_frames = {kHandler};
  row.block_frames = {kHandler};
  row.path = kExceptionReport;
  row.traits = kWaitsForDeadline;
  return row;
}

Row RaisesTwice(const char* name, const char* scenario) {
  Row row{name, scenario, ByExit(1), 1, {"RaiseUncaught", "TrigerCrashHanlerCallback"}};
  row.path = kExceptionReport;
  return row;
}

Row OnAWorker(const char* name, Row row) {
  row.name = name;
  row.options.emplace_back("--worker");
  return row;
}

Row HalvesRescued() {
  Row row = Raises("HalfASurrogatePairAndTheReportIsRescued", "RaiseWithHalfAPairAndTheSinkFaults",
                   "RaiseWithHalfAPair", kHalvesRead);
  row.ending = BySignal(SIGSEGV);
  row.said = {};
  return row;
}

std::vector<Row> OnlyRaiserRows() {
  const Row raised = OnlyRaiser("RaisedByTheSdk", "OruRTCRaises", kRaised);
  const Row thrown = OnlyRaiser("ThrownByTheSdk", "OruRTCThrows", kMade);
  const Row again = OnlyRaiser("RaisedByTheSdkAndAgainByTheHost", "OruRTCRaises", kRaised);
  return {
      raised,
      OnAWorker("RaisedByTheSdkOnAWorker", raised),
      OnlyRaiser("RaisedAsAnObjectByTheSdk", "OruRTCRaisesObject", kRaised),
      thrown,
      OnAWorker("ThrownByTheSdkOnAWorker", thrown),
      OnlyRaiser("OutOfRangeInTheSdk", "OruRTCAsksOutOfRange",
                 "uncaught exception 'NSRangeException', reason: '"),
      OnlyRaiser("RaisedAgainByTheSdk", "OruRTCRaisesAgain", kRaised),
      again,
      OnAWorker("RaisedByTheSdkAndAgainByTheHostOnAWorker", again),
      OnlyRaiser("RaisedByTheSdkAndThrownByTheHost", "OruRTCRaises", kRaised),
  };
}

std::vector<Row> OrdinaryObjcRows() {
  const Row raised = Raises("RaisedAndUncaught", "RaiseUncaught", "RaiseUncaught", kRaised);
  const Row again = RaisesAgain("CaughtAndRaisedAgain", "RethrowInCatch");
  return {
      raised,
      OnAWorker("RaisedAndUncaughtOnAWorker", raised),
      Raises("RaisedBesideAFault", "RaiseBesideAFaultAndTheExitIsSlow", "RaiseUncaught", kRaised),
      // GNUstep takes the stack when an exception is raised first; here it is thrown without.
      Raises("ThrownWithoutRaise", "ThrowUncaughtException", "ThrowUncaughtException", kMade),
      Raises("RaisedByFoundation", "RaiseOutOfRange", "RaiseOutOfRange",
             "uncaught exception 'NSRangeException', reason: '"),
      Raises("UnknownMessage", "SendUnknownMessage", "SendUnknownMessage",
             "uncaught exception 'NSInvalidArgumentException', reason: '-[NSObject noSuchMessage]"),
      Raises("HalfASurrogatePair", "RaiseWithHalfAPair", "RaiseWithHalfAPair", kHalvesRead),
      HalvesRescued(),
      again,
      OnAWorker("CaughtAndRaisedAgainOnAWorker", again),
      RaisesAgain("CaughtAndThrownAgain", "ThrowCaughtAgain"),
      Raises("RaisedInInitialize", "RaiseInInitialize", "RaiseUncaught", kRaised),
      Aborts("RaisedOutOfNoexcept", "RaiseOutOfNoexcept"),
      Hangs("RaisedAndTheCallbackNeverReturns", "RaiseAndTheCallbackHangs", "RaiseUncaught"),
      RaisesTwice("RaisedByTheCallbackToo", "RaiseAndTheCallbackRaises"),
      Faults("FaultAndTheCallbackRaises", "FaultAndTheCallbackRaises",
             {"WriteToNull", "FaultAndTheCallbackRaises"}),
      Faults("FaultBelowACatchAndTheCallbackRaises", "FaultInATryAndTheCallbackRaises",
             {"WriteToNull", "FaultInATryAndTheCallbackRaises"}),
      // No exception: the runtime aborts.
      Aborts("ThrownObject", "ThrowAnObject"),
      Faults("FaultInACatchOfObjectiveC", "FaultInObjcCatch", {"WriteToNull", "FaultInObjcCatch"}),
      Faults("FaultInAFinally", "FaultInObjcFinally", {"WriteToNull", "FaultInObjcFinally"}),
  };
}

}  // namespace

std::vector<Row> ExceptionRows() {
  const Row uncaught = Terminates("ThrownAndUncaught", "ThrowUncaught", "ThrowUncaught");
  // The frames below the `noexcept` function are gone.
  const Row noexcept_left =
      Terminates("ThrownOutOfNoexcept", "ThrowOutOfNoexcept", "ThrowOutOfNoexcept");
  const Row nothing = Terminates("RethrownWithoutAnException", "RethrowNothing", "RethrowNothing");
  const Row pure = Terminates("PureVirtualCall", "CallPureVirtual", "CallOverridden");
  return {
      uncaught,
      OnAWorker("ThrownAndUncaughtOnAWorker", uncaught),
      Terminates("ThrownNumber", "ThrowANumber", "ThrowANumber"),
      noexcept_left,
      OnAWorker("ThrownOutOfNoexceptOnAWorker", noexcept_left),
      nothing,
      OnAWorker("RethrownWithoutAnExceptionOnAWorker", nothing),
      Terminates("CaughtAndRethrown", "RethrowUncaught", "RethrowUncaught"),
      Terminates("StoredAndRethrown", "RethrowStoredException", "RethrowStoredException"),
      Terminates("ThrownByADestructor", "ThrowWhileUnwinding", "ThrowWhileUnwinding"),
      Terminates("ThrownWhileCaught", "ThrowWhileCatching", "ThrowWhileCatching"),
      pure,
      OnAWorker("PureVirtualCallOnAWorker", pure),
      Faults("FaultInACatchBlock", "FaultInACatchBlock", {"WriteToNull", "FaultInACatchBlock"}),
      Faults("FaultInADestructorWhileUnwinding", "FaultWhileUnwinding",
             {"WriteToNull", "FaultsWhenDestroyed", "FaultWhileUnwinding"}),
      Faults("FaultInTheTerminateHandler", "FaultInTheTerminateHandler",
             {"WriteToNull", "terminate", "FaultInTheTerminateHandler"}),
  };
}

std::vector<Row> ObjcRows() {
  std::vector<Row> rows = OnlyRaiserRows();
  for (Row& row : OrdinaryObjcRows()) rows.push_back(std::move(row));
  return rows;
}

}  // namespace crash_test
