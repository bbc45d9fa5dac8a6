#include "media_core/biz_engine/crash_handler/tools/crash_session.h"

#include <unistd.h>

#include "media_core/biz_engine/crash_handler/tools/dump_files.h"
#include "media_core/biz_engine/crash_handler/tools/report_names.h"
#include "media_core/biz_engine/crash_handler/tools/session_record.h"

namespace CrashHandler {

using namespace dumps;

CrashSession::CrashSession(const std::string& dump_dir, const std::string& app_id,
                           const std::string& session_id, const std::string& log_path,
                           const std::string& trace_path)
    : process_(getpid()) {
  if (!MakeFolders(dump_dir)) return;
  DumpFile file = LockOrMakeOwn(dump_dir + "/" + SessionFileName(app_id, session_id));
  if (!file.valid()) return;
  SessionRecord record;
  record.app_id = app_id;
  record.session_id = session_id;
  record.log_path = log_path;
  record.trace_path = trace_path;
  record.started_ms = NowMs();
  if (ftruncate(file.fd(), 0) != 0 || !WriteAll(file.fd(), TextOfRecord(record))) return;
  fd_ = file.Release();
}

CrashSession::~CrashSession() {
  if (fd_ < 0) return;
  if (process_ == getpid()) WriteAll(fd_, TextOfEnd(NowMs()));
  close(fd_);
}

}  // namespace CrashHandler
