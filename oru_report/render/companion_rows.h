// A companion as rows that people read, for a terminal and for a page.
#ifndef ORU_REPORT_RENDER_COMPANION_ROWS_H_
#define ORU_REPORT_RENDER_COMPANION_ROWS_H_

#include <string>
#include <vector>

#include "oru_report/model/companion.h"

namespace oru_report {

struct CompanionRow {
  // The line's type; empty where it goes on with the row before.
  std::string label;
  // Not escaped.
  std::string text;
};

std::vector<CompanionRow> RowsOf(const Companion& companion);

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_COMPANION_ROWS_H_
