// Stacks: overflown, too small, damaged, without frame pointers.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {

namespace {

// The block is read by the frame pointers, of which the last good one ends it.
Row InSection(Row row, const char* frame) {
  row.section_frames = {frame};
  return row;
}

// The kernel finds no stack for the handler.
Row WithoutHandling(Row row) {
  row.said = {kSaysInstalled};
  return row;
}

// A sentence stands in the place of their blocks.
Row WithoutOtherThreads(Row row) {
  row.unreadable = 1;
  return row;
}

}  // namespace

// Recursion in the SDK: on each kind of thread, without and with an alternate stack.
std::vector<Row> OverflowRows() {
  const std::vector<std::string> recursion = {"libOruRTCStacks.so Recurse"};
  return {
      WithoutHandling({"OverflowOnTheMainThread", "OverflowInTheSdk", BySignal(SIGSEGV), 0}),
      WithoutHandling(
          {"OverflowOnAWorker", "OverflowInTheSdk", BySignal(SIGSEGV), 0, {}, {"--worker"}}),
      WithoutHandling({"OverflowOnAnEarlierWorker",
                       "OverflowInTheSdk",
                       BySignal(SIGSEGV),
                       0,
                       {},
                       {"--earlier-worker"}}),
      {"OverflowOnTheMainThreadWithAnAlternateStack",
       "OverflowInTheSdk",
       BySignal(SIGSEGV),
       1,
       recursion,
       {"--alternate-stack"}},
      {"OverflowOnAWorkerWithAnAlternateStack",
       "OverflowInTheSdk",
       BySignal(SIGSEGV),
       1,
       recursion,
       {"--worker", "--alternate-stack"}},
      {"OverflowOnAnEarlierWorkerWithAnAlternateStack",
       "OverflowInTheSdk",
       BySignal(SIGSEGV),
       1,
       recursion,
       {"--earlier-worker", "--alternate-stack"}},
      // More frames than are looked at lie between the fault and the SDK.
      Ignored({"OverflowFarBelowTheSdk",
               "OverflowFarBelowTheSdk",
               BySignal(SIGSEGV),
               0,
               {},
               {"--alternate-stack"}}),
      // A sanitizer's frames may need more.
      {"SmallAlternateStack",
       "FaultOnASmallAlternateStack",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"},
       {},
       kNotUnderSanitizers},
      {"AlternateStackOf8KiB",
       "FaultOnAnAlternateStackOf8KiB",
       BySignal(SIGSEGV),
       1,
       {"WriteToNull"}},
      // The kernel ends the process when the report asks the other thread where it is.
      WithoutOtherThreads({"BesideACrampedThread",
                           "AbortBesideACrampedThread",
                           BySignal(SIGSEGV),
                           1,
                           {"abort", "AbortBesideACrampedThread"},
                           {},
                           kNotUnderSanitizers}),
      WithoutHandling(
          {"UnusableAlternateStack", "FaultOnAnUnusableAlternateStack", BySignal(SIGSEGV), 0}),
  };
}

std::vector<Row> DamagedStackRows() {
  const std::vector<std::string> alternate_stack = {"--alternate-stack"};
  const Ending fault = BySignal(SIGSEGV);
  return {
      WithoutHandling({"LostStackPointer", "LoseTheStackPointer", fault, 0}),
      {"LostStackPointerWithAnAlternateStack",
       "LoseTheStackPointer",
       fault,
       1,
       {"libOruRTCStacks.so LoseTheStackPointer"},
       alternate_stack},
      InSection({"LostFramePointer", "LoseTheFramePointer", fault},
                "libOruRTCStacks.so LoseTheFramePointer"),
      InSection({"FramePointerToData", "LoseTheFramePointerToData", fault},
                "libOruRTCStacks.so LoseTheFramePointerToData"),
      InSection({"SmashedFramePointer",
                 "SmashTheFramePointer",
                 fault,
                 1,
                 {"libOruRTCStacks.so Fault", "SmashTheFramePointer"}},
                "CallFromTheSdk"),
      InSection({"SmashedFramePointerToData",
                 "SmashTheFramePointerByData",
                 fault,
                 1,
                 {"libOruRTCStacks.so Fault", "SmashTheFramePointerByData"}},
                "CallFromTheSdk"),
      InSection({"FramePointersInARing",
                 "TieTheFramePointer",
                 fault,
                 1,
                 {"libOruRTCStacks.so Fault", "TieTheFramePointer"}},
                "CallFromTheSdk"),
      {"SmashedReturnAddress",
       "SmashTheReturnAddress",
       fault,
       1,
       {"Fault", "SmashTheReturnAddress"}},
      {"SmashedReturnAddressToData",
       "SmashTheReturnAddressByData",
       fault,
       1,
       {"Fault", "SmashTheReturnAddressByData"}},
      {"SmashedStack", "SmashAllAbove", fault, 1, {"Fault", "SmashAllAbove"}},
      {"AbortOnASmashedStack",
       "SmashAllAboveAndAbort",
       BySignal(SIGABRT),
       1,
       {"abort", "SmashAllAboveAndAbort"}},
      {"StackProtector",
       "OverflowABuffer",
       BySignal(SIGABRT),
       1,
       {"stack_chk_fail", "libOruRTCStacks.so OverflowABuffer"}},
      {"ReturnToNoAddress",
       "ReturnToNoAddress",
       fault,
       1,
       {"libOruRTCStacks.so ReturnToNoAddress"}},
      // The function that returned is gone, and so is the one it should have returned to.
      {"ReturnNowhere", "ReturnNowhere", fault, 1, {"OruRTCScenario"}},
      {"ReturnToNull", "ReturnToNull", fault, 1, {"OruRTCScenario"}},
      {"ReturnIntoData", "ReturnIntoData", fault, 1, {"OruRTCScenario"}},
      // Nothing is left that could tell that it is the SDK's.
      Ignored({"ReturnNowhereOnASmashedStack", "ReturnNowhereWithAllAboveSmashed", fault, 0}),
      {"NoFramePointers",
       "FaultWithoutFramePointers",
       fault,
       1,
       {"FramelessLeaf", "FramelessMiddle", "FaultWithoutFramePointers", "CallFromTheSdk"}},
      // The next frame after the leaf's is that of the last function with a frame pointer.
      {"NoUnwindTables",
       "FaultWithoutUnwindTables",
       fault,
       1,
       {"libOruRTCStacks.so TablelessLeaf", "OruRTCScenario"}},
  };
}

}  // namespace crash_test
