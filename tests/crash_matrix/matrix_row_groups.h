// The crash matrix's rows by subject.
#ifndef TESTS_CRASH_MATRIX_MATRIX_ROW_GROUPS_H_
#define TESTS_CRASH_MATRIX_MATRIX_ROW_GROUPS_H_

#include <utility>
#include <vector>

#include "tests/crash_matrix/matrix_rows.h"

namespace crash_test {

// What the handlers log, for `said`: where a report is missing they tell how far its making came.
constexpr char kSaysInstalled[] = "1 DarwinCrashHandler::InstallCrashHandler";
constexpr char kSaysFault[] = "1 DarwinCrashHandler::singal happend, signal = 11 ";
constexpr char kSaysForeign[] = "1 OruRTCCrashReport::not find sdk symbols, ignore it";
constexpr char kSaysOurs[] = "1 OruRTCCrashReport::find sdk symbols";
constexpr char kSaysFinished[] = "1 DarwinCrashHandler::report finish, old handler = 0";
constexpr char kSaysRefused[] = "2 DarwinCrashHandler::already had crash happend";

// The row with this line said.
inline Row Saying(Row row, const char* line) {
  row.said = {line};
  return row;
}
// The handling faults itself, or is that of an older handler of the module's.
inline Row Refused(Row row) { return Saying(std::move(row), kSaysRefused); }
// No frame of the crashed stack is the SDK's.
inline Row Ignored(Row row) { return Saying(std::move(row), kSaysForeign); }
// The report was made and could not be written.
inline Row Lost(Row row) {
  row.reports = 0;
  row.said = {kSaysOurs, kSaysFinished};
  return row;
}

std::vector<Row> CrowdRows();
std::vector<Row> DamagedStackRows();
std::vector<Row> DeadlineRows();
std::vector<Row> ExceptionRows();
std::vector<Row> ExitRows();
std::vector<Row> HandlerRows();
std::vector<Row> HeapRows();
std::vector<Row> LibraryRows();
std::vector<Row> LifeCycleRows();
std::vector<Row> LockRows();
std::vector<Row> NameRows();
std::vector<Row> NewRows();
std::vector<Row> ObjcRows();
std::vector<Row> OverflowRows();
std::vector<Row> PlaceRows();
std::vector<Row> ProcessRows();

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_MATRIX_ROW_GROUPS_H_
