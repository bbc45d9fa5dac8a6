// Where the dump directory should be, and what the report needs to get there.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

constexpr char kInDumps[] = "dumps/1.0/Crash_A_S_Signal_";
constexpr char kInDefault[] = "Library/Caches/Oru_RTC_Crash/1.0/Crash_A_S_Signal_";

Row Fault(const char* name, Place place, const char* path, const char* scenario = "WriteToNull") {
  Row row{name, scenario, BySignal(SIGSEGV), 1, {"WriteToNull"}};
  row.place = place;
  row.path = path;
  return row;
}

Row With(Row row, const std::vector<std::string>& options) {
  row.options = options;
  return row;
}

Row OneDescriptor(Row row) {
  row.traits |= kOneDescriptor;
  return row;
}

std::vector<Row> DirectoryRows() {
  return {
      Fault("DirectoryIsThere", Place::kReady, kInDumps),
      Fault("DirectoryIsMissing", Place::kMissing, kInDumps),
      Fault("DirectoryIsMissingTwoLevels", Place::kMissingTwoLevels, kInDefault),
      Fault("DirectoryThatCannotBeMade", Place::kImpossible, kInDefault),
      Fault("DirectoryWithoutPermission", Place::kReadOnly, kInDefault, "FaultWithoutCapabilities"),
      Fault("LinkToTheDirectory", Place::kLinkToDirectory, "target/1.0/Crash_A_S_Signal_"),
      Fault("DanglingLinkInTheDirectorysPlace", Place::kDanglingLink, kInDefault),
      Lost(Fault("FileInTheDirectorysPlace", Place::kFile, "")),
      Lost(Fault("FileInTheVersionsPlace", Place::kVersionIsFile, "")),
      Saying(Fault("LinkInTheVersionsPlace", Place::kVersionIsLink, kInDefault),
             "2 crash report dir of 1.0 is not ours, use default"),
      Fault("LinkInTheVersionsPlaceAndTheReportIsRescued", Place::kVersionIsLink, kInDefault,
            "CallbackFaultsAlike"),
      Fault("RelativeDirectory", Place::kRelative, kInDumps),
      Fault("RelativeDirectoryInAnotherFolder", Place::kRelative,
            "elsewhere/dumps/1.0/Crash_A_S_Signal_", "FaultInAnotherFolder"),
      Fault("RelativeDirectoryInARemovedFolder", Place::kRelative, kInDefault,
            "FaultInARemovedFolder"),
  };
}

Row Named(const char* name, const std::string& dump_dir, const std::string& path) {
  return With(Fault(name, Place::kMissing, path.c_str()), {"--dump-dir", dump_dir});
}

std::vector<Row> DirectoryNameRows() {
  const std::string long_name(10000, 'x');
  return {
      Named("EmptyDirectoryName", "", kInDefault),
      Named("DirectoryWithSlashes", "dumps//", kInDumps),
      Named("DirectoryWithConversions", "%s%n%d", "%s%n%d/1.0/Crash_A_S_Signal_"),
      Named("DirectoryWithABackslash", "C:\\a\\b", "C:\\a\\b/1.0/Crash_A_S_Signal_"),
      Named("DirectoryThatIsADrive", "C:", "C:/1.0/Crash_A_S_Signal_"),
      // Its bytes are taken as Latin-1, which is another name.
      Named("DirectoryThatIsNotUtf8", "a\\xffb", "a\u00ffb/1.0/Crash_A_S_Signal_"),
      Named("DirectoryOfTenThousandBytes", long_name, kInDefault),
  };
}

std::vector<Row> HomeRows() {
  const Row fault = Fault("DefaultDirectory", Place::kMissing, kInDefault);
  Row missing = With(fault, {"--default-dir", "--home", "missing/home"});
  missing.name = "HomeIsMissing";
  missing.path = "missing/home/Library/Caches/Oru_RTC_Crash/1.0/Crash_A_S_Signal_";
  const Row lost = Lost(Fault("HomeOfTenThousandBytes", Place::kMissing, ""));
  return {
      With(fault, {"--default-dir"}),
      With(lost, {"--default-dir", "--home", std::string(10000, 'x')}),
      missing,
      // The default is then below the root.
      With(Lost(Fault("HomeIsEmpty", Place::kMissing, "", "FaultWithoutTheRightToMakeDirectories")),
           {"--default-dir", "--home", ""}),
      // Its report is the ordinary one.
      Saying(With(Fault("NoHomeButADirectory", Place::kMissing, kInDumps), {"--no-home"}),
             kSaysFinished),
      With(Refused(Lost(Fault("NoHomeAndNoDirectory", Place::kMissing, ""))),
           {"--default-dir", "--no-home"}),
      With(Refused(Lost(Fault("NoHomeAndADanglingLink", Place::kDanglingLink, ""))), {"--no-home"}),
      Refused({"NoHomeAndNoDirectoryAndAnotherSignal",
               "DivideByZero",
               BySignal(SIGSEGV),
               0,
               {},
               {"--default-dir", "--no-home"}}),
  };
}

// Names of the threads' frames would take more, so that the crash's own section alone has them.
Row WithoutMemory(const char* name, const char* scenario, int signal) {
  Row row = {name, scenario, BySignal(signal)};
  row.options = {"--without-memory"};
  row.traits = kNotUnderSanitizers;
  row.section_frames = {"OruRTCScenario"};
  return Saying(row, "2 crash preparation: memory is missing");
}

// Which a draft has not.
Row WithTwoThreads(Row row) {
  row.threads = 2;
  return row;
}

std::vector<Row> RoomRows() {
  return {
      Lost(Fault("LimitOfFileSizes", Place::kMissing, "", "FaultAtTheLimitOfFileSizes")),
      Lost(Fault("IgnoredLimitOfFileSizes", Place::kMissing, "",
                 "FaultAtTheIgnoredLimitOfFileSizes")),
      Lost(Fault("HandledLimitOfFileSizes", Place::kMissing, "",
                 "FaultAtTheHandledLimitOfFileSizes")),
      Lost({"FullDisk", "FaultOnAFullDisk", ByExit(8)}),
      WithTwoThreads({"DiskForOneReport",
                      "FaultOnADiskForOneReport",
                      ByExit(8),
                      1,
                      {"WriteToNull"},
                      {"--extra-info-size", "1000000"}}),
      OneDescriptor(
          Fault("NoFreeDescriptor", Place::kMissing, kInDumps, "FaultWithoutAFreeDescriptor")),
      OneDescriptor(Fault("AnotherThreadTakesEveryDescriptor", Place::kMissing, kInDumps,
                          "FaultWhileAnotherTakesEveryDescriptor")),
      Fault("AllDescriptorsClosed", Place::kMissing, kInDumps, "FaultWithAllDescriptorsClosed"),
      Fault("NoFreeDescriptorAfterClosingAll", Place::kMissing, kInDumps,
            "FaultWithoutAFreeDescriptorAfterClosingAll"),
      Saying(With(Lost(Fault("InstalledWithoutAFreeDescriptor", Place::kMissing, "")),
                  {"--without-descriptors"}),
             "2 crash preparation: a file descriptor is missing"),
      Saying({"InstalledWithAMebibyteOfAddressSpace",
              "ExitsWithoutACrash",
              ByExit(6),
              0,
              {},
              {"--without-memory"},
              kNotUnderSanitizers},
             "2 crash preparation: memory is missing"),
      WithoutMemory("CrashWithAMebibyteOfAddressSpace", "WriteToNull", SIGSEGV),
      WithoutMemory("AbortWithAMebibyteOfAddressSpace", "Abort", SIGABRT),
      // The one that was held is closed, too, and the limit is the last one.
      Lost(Fault("NoDescriptorToHave", Place::kMissing, "", "FaultWithoutAnyDescriptorToHave")),
  };
}

}  // namespace

std::vector<Row> PlaceRows() {
  std::vector<Row> rows;
  for (const auto& group : {DirectoryRows(), DirectoryNameRows(), HomeRows(), RoomRows()}) {
    rows.insert(rows.end(), group.begin(), group.end());
  }
  return rows;
}

}  // namespace crash_test
