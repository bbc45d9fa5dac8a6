// Reports with companions that have as many notes and log lines as there can be.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "bench/crash/crash_host.h"
#include "media_core/biz_engine/crash_handler/crash_companion.h"
#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

namespace {

// 200 lines of 100 bytes.
class Lines {
 public:
  uint64_t first_line() const { return 0; }
  uint64_t end_line() const { return 200; }
  bool Read(uint64_t /*number*/, char* buffer, size_t room, size_t* size) const {
    *size = std::min(room, line_.size());
    memcpy(buffer, line_.data(), *size);
    return true;
  }

 private:
  const std::string line_ = std::string(100, 'l');
};

}  // namespace

void InstallCapture(const char* /*program*/, const char* dump_dir) {
  static const Lines lines;
  CrashHandler::UseLogLines(&lines);
  for (size_t i = 0; i < CrashHandler::kMaxCrashNotes; ++i) {
    CrashHandler::SetCrashNote(std::to_string(i).c_str(), "a note of the host");
  }
  CrashHandler::WriteCrashCompanions();
  auto* const handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dump_dir);
  handler->InstallCrashHandler();
}
