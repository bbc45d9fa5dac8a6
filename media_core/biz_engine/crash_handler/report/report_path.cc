#include "media_core/biz_engine/crash_handler/report/report_path.h"

#include "media_core/biz_engine/crash_handler/report/utf8_text.h"
#include "media_core/biz_engine/crash_handler/tools/report_names.h"

namespace CrashHandler {
namespace {

void AppendComponent(const char* name, machine::TextBuffer* path) {
  if (path->size() == 0 || path->data()[path->size() - 1] != '/') path->Append('/');
  AppendAsUtf8(name, path);
}

}  // namespace

void AppendReportDirectory(const ReportName& name, machine::TextBuffer* path) {
  AppendAsUtf8(name.dump_dir, path);
  if (name.sdk_version[0] != '\0') AppendComponent(name.sdk_version, path);
}

void AppendReportFileName(const ReportName& name, machine::TextBuffer* path) {
  AppendComponent(dumps::kReportPrefix, path);
  for (const char* part : {name.app_id, name.session_id, name.kind}) {
    AppendAsUtf8(part, path);
    path->Append('_');
  }
  AppendTime(name.time, '-', '-', path);
  path->Append(dumps::kReportEnding);
}

void AppendTime(const machine::CivilTime& time, char gap, char colon, machine::TextBuffer* text) {
  text->AppendNumber(time.year, 10, 4);
  text->Append('-');
  text->AppendNumber(time.month, 10, 2);
  text->Append('-');
  text->AppendNumber(time.day, 10, 2);
  text->Append(gap);
  text->AppendNumber(time.hour, 10, 2);
  text->Append(colon);
  text->AppendNumber(time.minute, 10, 2);
  text->Append(colon);
  text->AppendNumber(time.second, 10, 2);
}

}  // namespace CrashHandler
