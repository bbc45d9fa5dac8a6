#include "media_core/biz_engine/crash_handler/report/report_words.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace CrashHandler {
namespace {

constexpr char kDefaultDir[] = "/Library/Caches/Oru_RTC_Crash/";

bool Contains(const char* line, size_t length, const char* word) {
  return memmem(line, length, word, strlen(word)) != nullptr;
}

}  // namespace

bool IsSdkFrame(const char* line, size_t length) {
  if (!Contains(line, length, kSdkFilter)) return false;
  return std::none_of(std::begin(kOwnFrameNames), std::end(kOwnFrameNames),
                      [&](const char* name) { return Contains(line, length, name); });
}

CrashType ReportedKind(CrashType kind) { return kind == Terminate ? MemoryError : kind; }

std::string DefaultDumpDir() {
  std::string path;
  path.append(getenv("HOME"));
  return path.append(kDefaultDir);
}

bool DefaultDumpDir(char* path, size_t room) {
  const char* const home = getenv("HOME");
  if (home == nullptr || strlen(home) + sizeof kDefaultDir > room) return false;
  strcpy(path, home);
  strcat(path, kDefaultDir);
  return true;
}

}  // namespace CrashHandler
