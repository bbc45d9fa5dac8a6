// Line files that a program left beside its report: logs and traces.
#ifndef ORU_REPORT_INPUT_LINE_FILE_H_
#define ORU_REPORT_INPUT_LINE_FILE_H_

#include <functional>
#include <string>
#include <string_view>

namespace oru_report {

// Calls back for each line, without its end and without zero bytes (a log's reserved space, which
// its writer may not have given back). Of a longer line only the first kMaxLogLine bytes come; of a
// file above kMaxLogBytes only its end, and `*part` tells.
//
// Only regular files are read. False on failure, with the reason in `error`; lines before it have
// come.
bool ReadLines(const std::string& path, const std::function<void(std::string_view line)>& take,
               bool* part, std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_LINE_FILE_H_
