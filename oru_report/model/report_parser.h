// Reads the text of a crash report.
#ifndef ORU_REPORT_MODEL_REPORT_PARSER_H_
#define ORU_REPORT_MODEL_REPORT_PARSER_H_

#include <string>

#include "oru_report/model/report_model.h"

namespace oru_report {

// Parses `text` into `report`. Any bytes are accepted: lines of no known form are kept as text, and
// a report that was cut off is read as far as it goes, with a sentence in `gaps`. False, with a
// sentence in `error`, when the text is no crash report at all.
bool ParseReport(std::string text, Report* report, std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_REPORT_PARSER_H_
