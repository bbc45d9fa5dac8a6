// Whether a program's crashes would be reported, as far as its file can tell.
#ifndef ORU_REPORT_ANALYSIS_DOCTOR_H_
#define ORU_REPORT_ANALYSIS_DOCTOR_H_

#include <string>
#include <vector>

namespace oru_report {

struct Finding {
  // "names", "filter word", "function", "dump folder", "descriptors", "at run time".
  std::string subject;
  bool good = false;
  std::string text;
};

// What the file at `path` says; `function` and `dump_dir` may be empty. False, with a sentence in
// `error`, when it is no program or library.
bool ExamineProgram(const std::string& path, const std::string& function,
                    const std::string& dump_dir, std::vector<Finding>* findings,
                    std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_DOCTOR_H_
