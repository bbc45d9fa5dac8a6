#include "oru_report/model/report_name.h"

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

bool DropSuffix(std::string_view suffix, std::string_view* name) {
  if (!EndsWith(*name, suffix)) return false;
  name->remove_suffix(suffix.size());
  return true;
}

// " (12)", as browsers number downloads of one name.
void DropCopyNumber(std::string_view* name) {
  const size_t open = name->rfind(" (");
  if (open == std::string_view::npos || name->back() != ')') return;
  const std::string_view number = name->substr(open + 2, name->size() - open - 3);
  if (number.empty() || number.find_first_not_of("0123456789") != std::string_view::npos) return;
  name->remove_suffix(name->size() - open);
}

// "2024-03-05-07-08-09" as a person writes it; "" for another form.
std::string ReadableTime(std::string_view stamp) {
  constexpr std::string_view kForm = "dddd-dd-dd-dd-dd-dd";
  if (stamp.size() != kForm.size()) return "";
  for (size_t i = 0; i < stamp.size(); ++i) {
    const bool digit = stamp[i] >= '0' && stamp[i] <= '9';
    if (kForm[i] == 'd' ? !digit : stamp[i] != '-') return "";
  }
  std::string text(stamp);
  text[10] = ' ';
  text[13] = text[16] = ':';
  return text;
}

bool IsKind(std::string_view word) {
  return word == "Signal" || word == "Exception" || word == "MemoryError" || word == "Terminate";
}

}  // namespace

ReportName ParseReportName(std::string_view file_name) {
  std::string_view stem = file_name;
  DropSuffix(".gz", &stem);
  DropCopyNumber(&stem);
  if (!DropSuffix(".log", &stem)) DropSuffix(".txt", &stem);
  DropCopyNumber(&stem);
  ReportName name;
  if (!StartsWith(stem, "Crash_")) return name;
  std::string stamp;
  if (CrashHandler::ParseCrashInfoFromFileName(std::string(stem) + ".log", &name.app, &name.session,
                                               &name.kind, &stamp)) {
    name.time = ReadableTime(stamp);
    return name;
  }
  const size_t last = stem.rfind('_');
  const size_t before = last == 0 ? last : stem.rfind('_', last - 1);
  if (before == std::string_view::npos || before == last) return name;
  const std::string_view kind = stem.substr(before + 1, last - before - 1);
  if (IsKind(kind)) name.kind = kind;
  name.time = ReadableTime(stem.substr(last + 1));
  return name;
}

bool LooksLikeReportFile(std::string_view file_name) {
  DropSuffix(".gz", &file_name);
  return EndsWith(file_name, ".log") || EndsWith(file_name, ".txt");
}

bool LooksLikeZip(std::string_view file_name) { return EndsWith(file_name, ".zip"); }

}  // namespace oru_report
