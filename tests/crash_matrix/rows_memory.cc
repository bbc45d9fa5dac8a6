// Memory that runs out, and a heap that is broken.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

constexpr char kSignalReport[] = "dumps/1.0/Crash_A_S_Signal_";
constexpr char kMemoryReport[] = "dumps/1.0/Crash_A_S_MemoryError_";

// A sanitizer's `operator new` does not ask the new-handler, its memory does not fit into a limit,
// and its allocator looks after the heap itself.
Row OwnAllocator(Row row) {
  row.traits |= kNotUnderSanitizers;
  return row;
}

// A failed allocation is reported and survived.
Row Survives(const char* name, const char* scenario, std::vector<std::string> frames) {
  Row row{name, scenario, ByExit(97), 1, std::move(frames)};
  // Each section is made by another call in it.
  row.block_frames = {"OruRTCNewFailedCatchHandler"};
  row.section_frames = row.block_frames;
  row.path = kMemoryReport;
  return OwnAllocator(row);
}

Row Ends(const char* name, const char* scenario, Ending ending, std::vector<std::string> frames) {
  Row row = Survives(name, scenario, std::move(frames));
  row.ending = ending;
  return row;
}

// By a signal, which is reported.
Row Reported(const char* name, int signo, std::vector<std::string> frames) {
  Row row{name, name, BySignal(signo), 1, std::move(frames)};
  row.path = kSignalReport;
  return OwnAllocator(row);
}

// A report of megabytes.
Row Long(Row row, size_t threads) {
  row.threads = threads;
  return row;
}

// The report is an ordinary one.
Row Unhindered(Row row) {
  row.said = {kSaysFinished};
  return row;
}

Row WaitsForDeadline(Row row) {
  row.traits |= kWaitsForDeadline;
  return row;
}

}  // namespace

std::vector<Row> NewRows() {
  const std::vector<std::string> failing = {"13NewEm", "NewUntilItFails"};
  return {
      Survives("NewInALimit", "NewInALimit", failing),
      Survives("NewOfTheLastBytesInALimit", "LastByteInALimit", failing),
      Survives("NewWhoseReportFindsNoMemory", "NewWhoseReportFindsNoMemory",
               {"NewWhoseReportFindsNoMemory"}),
      Survives("NewOfFarTooMuch", "HugeNew", failing),
      Survives("NothrowNewOfFarTooMuch", "HugeNothrowNew", {"NewNothrow", "HugeNothrowNew"}),
      Survives("NothrowNewInALimit", "NothrowNewInALimit", {"NewNothrow", "NothrowNewInALimit"}),
      Survives("NewOfFarTooMuchOnThreads", "HugeNewOnThreads", failing),
      Survives("NewInALimitOnThreads", "NewInALimitOnThreads", failing),
      Survives("NewWithAFreeingPredecessor", "NewAfterAFreeingHandler", {"13NewEm"}),
      Survives("NewWithAThrowingPredecessor", "NewAfterAThrowingHandler", failing),
      Ends("NewWithAnAbortingPredecessor", "NewAfterAnAbortingHandler", BySignal(SIGABRT), failing),
      Ends("NewWithAnExitingPredecessor", "NewAfterAnExitingHandler", ByExit(5), failing),
      Ends("NewWithAFaultingPredecessor", "NewAfterAFaultingHandler", BySignal(SIGSEGV), failing),
      WaitsForDeadline(Ends("NewOfFarTooMuchAndTheCallbackNeverReturns",
                            "HugeNewAndTheCallbackHangs", BySignal(SIGABRT),
                            {"13NewEm", "HugeNewAndTheCallbackHangs"})),
      Ends("NewOfFarTooMuchAndTheCallbackRaises", "HugeNewAndTheCallbackRaises", BySignal(SIGABRT),
           {"HugeNewAndTheCallbackRaises"}),
      // The failure is the report; its exception ends the process.
      Ends("UncaughtNewInALimit", "UncaughtBadAllocInALimit", BySignal(SIGABRT),
           {"13NewEm", "UncaughtBadAllocInALimit"}),
      Ends("UncaughtNewOfFarTooMuch", "UncaughtHugeNew", BySignal(SIGABRT),
           {"13NewEm", "UncaughtHugeNew"}),
      Ends("NewOfANegativeSize", "NegativeArraySize", BySignal(SIGABRT), {"NegativeArraySize"}),
      Ends("UncaughtNewOfFarTooMuchOnThreads", "UncaughtHugeNewOnThreads", BySignal(SIGABRT),
           {"13NewEm"}),
      Ends("FaultsAfterNewInALimitOnThreads", "FaultAfterNewInALimitOnThreads", BySignal(SIGSEGV),
           {"13NewEm"}),
      Unhindered(Reported("FaultWithoutMemory", SIGSEGV, {"WriteToNull", "FaultWithoutMemory"})),
      WaitsForDeadline(Reported("CallbackTakesAllMemoryAndHangs", SIGSEGV, {"WriteToNull"})),
      Unhindered(Reported("AbortWithoutMemory", SIGABRT, {"abort", "AbortWithoutMemory"})),
      Long(Reported("FaultWithoutMemoryBesideDeepThreads", SIGSEGV, {"WriteToNull"}), 601),
      Long(Reported("FaultWithoutMemoryAfterOpeningALibrary", SIGSEGV, {"WriteToNull"}), 601),
      Long(Reported("FaultWithoutMemoryBesideManyDeepThreads", SIGSEGV, {"WriteToNull"}), 1401),
  };
}

std::vector<Row> HeapRows() {
  return {
      // Found by the allocator before it takes its lock.
      Unhindered(Reported("FreeInvalidPointer", SIGABRT, {"abort", "FreeInvalidPointer"})),
      Unhindered(Reported("FreeTheStack", SIGABRT, {"abort", "FreeTheStack"})),
      Unhindered(Reported("FreeSmallTwice", SIGABRT, {"abort", "FreeSmallTwice"})),
      Unhindered(Reported("FaultAfterSmashingAHeader", SIGSEGV, {"WriteToNull"})),
      // With its lock, on which the report waits until it is rescued.
      WaitsForDeadline(Reported("FreeLargeTwice", SIGABRT, {"abort", "FreeLargeTwice"})),
      WaitsForDeadline(Reported("AbortInMalloc", SIGABRT, {"abort", "malloc", "AbortInMalloc"})),
      WaitsForDeadline(Reported("FaultHoldingTheAllocator", SIGSEGV, {"WriteToNull"})),
      WaitsForDeadline(Reported("FaultWhileAnotherHoldsTheAllocator", SIGFPE, {"DivideByZero"})),
      // The report's own allocations find it, by an abort or a fault.
      Reported("FaultAfterSmashingTheTop", SIGABRT, {"WriteToNull", "SmashingTheTop"}),
      Reported("FaultAfterSmashingTheTopOfAThreadedProcess", SIGABRT, {"WriteToNull"}),
      Reported("FaultAfterSmashingFreeMemory", SIGSEGV, {"WriteToNull", "SmashingFreeMemory"}),
      Reported("SmashedFreeMemoryOnASmallStack", SIGSEGV, {"WriteToNull"}),
      Reported("SmashedTopOnASmallStack", SIGABRT, {"WriteToNull"}),
  };
}

}  // namespace crash_test
