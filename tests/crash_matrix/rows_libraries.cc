// Libraries that come late, are deleted or closed; crowds of threads, images and symbols.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {

std::vector<Row> LibraryRows() {
  const Ending fault = BySignal(SIGSEGV);
  return {
      {"LateLibrary",
       "CrashInALateLibrary",
       fault,
       1,
       {"libcrash_opened_library.so CrashInTheLibrary", "CallOpened"}},
      {"BelowALateLibrary",
       "CrashBelowALateLibrary",
       fault,
       1,
       {"WriteToNull", "libcrash_opened_library.so CallFromTheLibrary"}},
      {"DeletedLibrary",
       "CrashInADeletedLibrary",
       fault,
       1,
       {"libdeleted.so CrashInTheLibrary", "CallOpened"}},
      {"BelowADeletedLibrary",
       "CrashBelowADeletedLibrary",
       fault,
       1,
       {"WriteToNull", "libdeleted.so CallFromTheLibrary"}},
      {"BareLibrary", "CrashInABareLibrary", fault, 1, {"libcrash_bare_library.so", "CallOpened"}},
      {"BelowABareLibrary",
       "CrashBelowABareLibrary",
       fault,
       1,
       {"WriteToNull", "libcrash_bare_library.so"}},
      {"CallIntoAClosedLibrary", "CallIntoAClosedLibrary", fault, 1, {"CallOpened"}},
      {"ReturnIntoAClosedLibrary", "ReturnIntoAClosedLibrary", fault, 1, {"OruRTCScenario"}},
      {"ManySymbols",
       "CrashAmongManySymbols",
       fault,
       1,
       {"libcrash_many_symbols_library.so CrashInTheLibrary", "CallOpened"}},
      {"ManyLoadedSymbols",
       "CrashAmongManyLoadedSymbols",
       fault,
       1,
       {"libdeleted.so CrashInTheLibrary", "CallOpened"}},
  };
}

std::vector<Row> CrowdRows() {
  Row threads = {
      "FiveHundredThreads", "FaultBesideFiveHundredThreads", BySignal(SIGSEGV), 1, {"WriteToNull"}};
  threads.threads = 501;
  Row images = {"ThreeHundredLibraries",
                "CrashBesideThreeHundredLibraries",
                BySignal(SIGSEGV),
                1,
                {"libcopy299.so CrashInTheLibrary"}};
  images.images = 301;
  return {threads, images};
}

}  // namespace crash_test
