// Handlers that were there before, and that came later.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

constexpr char kAfterReport[] = "predecessor after the report";

Row Fault(const char* name, const char* scenario, Ending ending = BySignal(SIGSEGV)) {
  Row row{name, scenario, ending};
  row.frames = {"WriteToNull"};
  return row;
}

// The older handler is called once, when the report is there.
Row Called(Row row) {
  row.said = {kAfterReport};
  return row;
}

Row WithoutReport(Row row) {
  row.reports = 0;
  return row;
}

}  // namespace

std::vector<Row> HandlerRows() {
  // A sanitizer's operator new never asks the new-handler.
  Row fails = Called(Fault("AllocationFailsWhileThePredecessorHangs",
                           "PredecessorHangsAndAnAllocationFails", ByExit(97)));
  fails.traits = kNotUnderSanitizers;
  const Row pipe{"PredecessorIgnoresSigpipe",
                 "PredecessorIgnoresSigpipe",
                 ByExit(97),
                 1,
                 {"PredecessorIgnoresSigpipe"}};
  return {
      Fault("PredecessorIsTheDefault", "PredecessorIsTheDefault"),
      Fault("PredecessorIgnores", "PredecessorIgnores"),
      Fault("PredecessorIgnoresWithInfo", "PredecessorIgnoresWithInfo"),
      pipe,
      // The default action is the one that is left, also of a signal that was ignored.
      {"PredecessorIgnoresSigpipeTwice",
       "PredecessorIgnoresSigpipeTwice",
       BySignal(SIGPIPE),
       1,
       {"raise", "PredecessorIgnoresSigpipeTwice"}},
      Saying({"SigpipeIgnoredAfterInstalling", "SigpipeIgnoredAfterInstalling", ByExit(97), 0},
             kSaysInstalled),
      Fault("PlainPredecessorIsNotCalled", "PredecessorIsPlain"),
      Fault("PredecessorOfAnotherSignalIsNotCalled", "PredecessorOfAnotherSignal"),
      Called(Fault("PredecessorReturns", "PredecessorReturns")),
      Called({"PredecessorOfARaisedSignalReturns",
              "PredecessorOfARaisedSignalReturns",
              ByExit(97),
              1,
              {"raise", "PredecessorOfARaisedSignalReturns"}}),
      Called(Fault("PredecessorForOneCall", "PredecessorIsForOneCall")),
      Called(Fault("PredecessorThatIsNotDeferred", "PredecessorIsNotDeferred")),
      Called({"PredecessorOfSigpipeThatIsNotDeferred",
              "PredecessorOfSigpipeIsNotDeferred",
              ByExit(97),
              1,
              {"raise", "PredecessorOfSigpipeIsNotDeferred"}}),
      Called(Fault("PredecessorThatRaisesAgainAndExits", "PredecessorRaisesAgainAndExits")),
      Called(Fault("PredecessorFaultsAlike", "PredecessorFaults")),
      Called(Fault("PredecessorFaultsOtherwise", "PredecessorFaultsOtherwise", BySignal(SIGFPE))),
      Called(Fault("PredecessorRaisesAgain", "PredecessorRaisesAgain")),
      Called(Fault("PredecessorJumpsOut", "PredecessorJumpsOut", ByExit(5))),
      Fault("FaultAfterThePredecessorJumpedOut", "PredecessorJumpsOutAndAnotherFaultFollows"),
      Called(Fault("PredecessorEndsTheProcess", "PredecessorExits", ByExit(6))),
      fails,
      Saying(Fault("SuccessorChains", "SuccessorChains"), "successor after the report"),
      Fault("SuccessorChainsAndJumpsOut", "SuccessorChainsAndJumpsOut", ByExit(5)),
      Fault("SuccessorStepsAside", "SuccessorStepsAside"),
      WithoutReport(Saying(Fault("SuccessorDoesNotChain", "SuccessorDoesNotChain"), "successor")),
  };
}

}  // namespace crash_test
