#include "media_core/biz_engine/crash_handler/report/report_place.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/report/report_file.h"
#include "utils/shared_files.h"

namespace CrashHandler {
namespace {

bool IsForeign(const char* path) {
  struct stat status;
  if (lstat(path, &status) != 0) return false;
  return S_ISLNK(status.st_mode) || status.st_uid != geteuid();
}

// Appends the version's directory, made where it was missing. False when it is not to be used.
bool AppendUsableDirectory(const ReportName& name, const char* default_dir,
                           machine::TextBuffer* path) {
  if (!MayUseDumpDir(name.dump_dir, default_dir)) return false;
  AppendReportDirectory(name, path);
  const size_t end = path->size();
  path->Append('\0');
  if (path->overflowed()) return false;
  const bool version_is_foreign = name.sdk_version[0] != '\0' && IsForeign(path->data());
  if (!version_is_foreign) CreateDirectories(path->data());
  path->CutTo(end);
  return !version_is_foreign;
}

}  // namespace

ReportPlace MakeReportPlace(ReportName* name, const char* default_dir, machine::TextBuffer* path) {
  const size_t start = path->size();
  ReportPlace place = ReportPlace::kAsked;
  if (!AppendUsableDirectory(*name, default_dir, path)) {
    path->CutTo(start);
    name->dump_dir = default_dir;
    place = ReportPlace::kDefault;
    if (*default_dir == '\0' || !AppendUsableDirectory(*name, default_dir, path)) {
      path->CutTo(start);
      return ReportPlace::kNone;
    }
  }
  AppendReportFileName(*name, path);
  return place;
}

bool MayUseDumpDir(const char* dump_dir, const char* default_dir) {
  return !machine::RunsWithMoreRights() || strcmp(dump_dir, default_dir) != 0;
}

bool IsUsableDumpDir(const char* path) {
  return *path != '\0' && tessik::shared::WritableOrCreated(path);
}

}  // namespace CrashHandler
