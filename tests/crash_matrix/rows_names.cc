// Who crashed, and the host's words, with letters that mean something elsewhere.
#include <signal.h>

#include "tests/crash_matrix/matrix_row_groups.h"

namespace crash_test {
namespace {

constexpr char kConversions[] = "%s%n%d%@";
// A byte that is not UTF-8, and what it is as Latin-1.
constexpr char kInvalid[] = "a\\xffb";
constexpr char kInvalidRead[] = "a\u00ffb";

// Half of a surrogate pair as if it were a character: its bytes are no UTF-8.
constexpr char kHalf[] = "a\\xed\\xa0\\x80b";
constexpr char kHalfRead[] = "a\u00ed\u00a0\u0080b";
// What other systems take for separators.
constexpr char kBackslash[] = "C:\\a\\b";

const std::string& TenThousand() {
  static const auto* const text = new std::string(10000, 'x');
  return *text;
}

Row Fault(const char* name, const std::vector<std::string>& options, const std::string& path) {
  Row row{name, "WriteToNull", BySignal(SIGSEGV), 1, {"WriteToNull"}, options};
  row.path = path;
  return row;
}

// Its ending has one byte more.
Row WithoutCompanion(Row row) {
  row.traits |= kRoomForAReportOnly;
  return row;
}

Row Info(const char* name, const std::string& option, const std::string& value,
         const std::string& text) {
  Row row = Fault(name, {option, value}, "dumps/1.0/Crash_A_S_Signal_");
  row.texts = {"\nUserCustomInfo:\n" + text + "\n"};
  return row;
}

std::vector<Row> AppAndSessionRows() {
  const std::string app = "--app-id";
  const std::string session = "--session-id";
  return {
      // It would be in a folder that is not there.
      Lost(Fault("AppWithASlash", {app, "a/b"}, "")),
      Lost(Fault("AppThatLeavesTheFolder", {app, "/../../a"}, "")),
      Fault("AppWithUnderscores", {app, "a_b_"}, "dumps/1.0/Crash_a_b__S_Signal_"),
      Fault("AppWithConversions", {app, kConversions}, "dumps/1.0/Crash_%s%n%d%@_S_Signal_"),
      Fault("AppThatIsNotUtf8", {app, kInvalid},
            std::string("dumps/1.0/Crash_") + kInvalidRead + "_S_"),
      Fault("AppWithHalfASurrogatePair", {app, kHalf},
            std::string("dumps/1.0/Crash_") + kHalfRead + "_S_"),
      Fault("AppWithABackslash", {app, kBackslash}, "dumps/1.0/Crash_C:\\a\\b_S_Signal_"),
      Fault("SessionWithABackslash", {session, kBackslash}, "dumps/1.0/Crash_A_C:\\a\\b_Signal_"),
      Fault("AppWithALineEnd", {app, "a\nb"}, "dumps/1.0/Crash_a\nb_S_Signal_"),
      // A file's name has 255 bytes, 39 of which are not the application's.
      WithoutCompanion(
          Fault("AppThatFillsTheName", {app, std::string(216, 'x')}, "dumps/1.0/Crash_xxx")),
      Lost(Fault("AppOneByteTooLong", {app, std::string(217, 'x')}, "")),
      Lost(Fault("AppOfTenThousandBytes", {app, TenThousand()}, "")),
      Fault("EmptyApp", {app, ""}, "dumps/1.0/Crash_Unknown-App_S_Signal_"),
      Lost(Fault("SessionWithASlash", {session, "a/b"}, "")),
      Fault("SessionWithUnderscores", {session, "_a_b"}, "dumps/1.0/Crash_A__a_b_Signal_"),
      Fault("SessionWithConversions", {session, kConversions},
            "dumps/1.0/Crash_A_%s%n%d%@_Signal_"),
      Fault("SessionThatIsNotUtf8", {session, kInvalid},
            std::string("dumps/1.0/Crash_A_") + kInvalidRead + "_Signal_"),
      Lost(Fault("SessionOfTenThousandBytes", {session, TenThousand()}, "")),
      Fault("EmptySession", {session, ""}, "dumps/1.0/Crash_A_Unknown-Session_Signal_"),
  };
}

std::vector<Row> VersionRows() {
  const std::string version = "--sdk-version";
  return {
      Fault("VersionWithASlash", {version, "a/b"}, "dumps/a/b/Crash_A_S_Signal_"),
      Fault("VersionAboveTheFolder", {version, ".."}, "Crash_A_S_Signal_"),
      Fault("VersionWithConversions", {version, kConversions}, "dumps/%s%n%d%@/Crash_A_S_Signal_"),
      Fault("VersionThatIsNotUtf8", {version, kInvalid},
            std::string("dumps/") + kInvalidRead + "/Crash_A_S_Signal_"),
      Fault("VersionWithABackslash", {version, kBackslash}, "dumps/C:\\a\\b/Crash_A_S_Signal_"),
      Fault("VersionThatIsADrive", {version, "C:"}, "dumps/C:/Crash_A_S_Signal_"),
      Fault("VersionWithASuffix", {version, "1.2-beta/3"}, "dumps/1.2/Crash_A_S_Signal_"),
      Lost(Fault("VersionOfTenThousandBytes", {version, TenThousand()}, "")),
      Fault("EmptyVersion", {version, ""}, "dumps/Crash_A_S_Signal_"),
  };
}

std::vector<Row> InfoRows() {
  constexpr size_t kMebibyte = size_t{1} << 20;
  const std::string option = "--extra-info";
  return {
      Info("InfoOfAMebibyte", "--extra-info-size", std::to_string(kMebibyte),
           std::string(kMebibyte, 'i')),
      Info("InfoWithConversions", option, kConversions, kConversions),
      Info("InfoThatIsNotUtf8", option, kInvalid, kInvalidRead),
      Info("InfoWithHalfASurrogatePair", option, kHalf, kHalfRead),
      Info("InfoWithLineEnds", option, "a\n\nb\n", "a\n\nb\n"),
  };
}

}  // namespace

std::vector<Row> NameRows() {
  std::vector<Row> rows;
  for (const auto& group : {AppAndSessionRows(), VersionRows(), InfoRows()}) {
    rows.insert(rows.end(), group.begin(), group.end());
  }
  return rows;
}

}  // namespace crash_test
