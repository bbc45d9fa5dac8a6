// The companion that lies beside a report.
#ifndef ORU_REPORT_INPUT_COMPANION_FILE_H_
#define ORU_REPORT_INPUT_COMPANION_FILE_H_

#include <string>

#include "oru_report/model/companion.h"

namespace oru_report {

// Of the report "NAME.log" it is "NAME.json" in the same folder, a regular file. Not found when
// there is none, also for reports in archives and on standard input.
Companion ReadCompanionOf(const std::string& report_path);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_COMPANION_FILE_H_
