// Libraries that come late, are deleted or closed; crowds of threads, images and symbols.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

using Texts = std::vector<std::string>;

// `texts` are for the block among all threads, which begins a line with the image's name and has
// blanks around the distance from a symbol; both sections have the frames.
Row Fault(const char* name, const char* scenario, const Texts& frames, const Texts& texts) {
  Row row = {name, scenario, BySignal(SIGSEGV), 1, frames};
  row.texts = texts;
  return row;
}

}  // namespace

std::vector<Row> LibraryRows() {
  return {
      Fault("LateLibrary", "CrashInALateLibrary",
            {"libcrash_opened_library.so CrashInTheLibrary", "CallOpened"},
            {"\nlibcrash_opened_library.so ", " CrashInTheLibrary + "}),
      Fault("BelowALateLibrary", "CrashBelowALateLibrary",
            {"WriteToNull", "libcrash_opened_library.so CallFromTheLibrary"},
            {"\nlibcrash_opened_library.so ", " CallFromTheLibrary + "}),
      Fault("DeletedLibrary", "CrashInADeletedLibrary",
            {"libdeleted.so CrashInTheLibrary", "CallOpened"},
            {"\nlibdeleted.so ", " CrashInTheLibrary + "}),
      Fault("BelowADeletedLibrary", "CrashBelowADeletedLibrary",
            {"WriteToNull", "libdeleted.so CallFromTheLibrary"},
            {"\nlibdeleted.so ", " CallFromTheLibrary + "}),
      Fault("BareLibrary", "CrashInABareLibrary", {"libcrash_bare_library.so", "CallOpened"},
            {"\nlibcrash_bare_library.so "}),
      Fault("BelowABareLibrary", "CrashBelowABareLibrary",
            {"WriteToNull", "libcrash_bare_library.so"}, {"\nlibcrash_bare_library.so "}),
      Fault("CallIntoAClosedLibrary", "CallIntoAClosedLibrary", {"CallOpened"},
            {"\n0x0000000000000000 "}),
      Fault("ReturnIntoAClosedLibrary", "ReturnIntoAClosedLibrary", {"OruRTCScenario"},
            {"\n0x0000000000000000 "}),
      Fault("ManySymbols", "CrashAmongManySymbols",
            {"libcrash_many_symbols_library.so CrashInTheLibrary", "CallOpened"},
            {" CrashInTheLibrary + "}),
      Fault("ManyLoadedSymbols", "CrashAmongManyLoadedSymbols",
            {"libdeleted.so CrashInTheLibrary", "CallOpened"}, {" CrashInTheLibrary + "}),
  };
}

std::vector<Row> CrowdRows() {
  Row threads = Fault("FiveHundredThreads", "FaultBesideFiveHundredThreads", {"WriteToNull"}, {});
  threads.threads = 501;
  Row images = Fault("ThreeHundredLibraries", "CrashBesideThreeHundredLibraries",
                     {"libcopy299.so CrashInTheLibrary"}, {" CrashInTheLibrary + "});
  images.images = 301;
  return {threads, images};
}

}  // namespace crash_test
