#include "media_core/biz_engine/crash_handler/report/report_verdicts.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "media_core/biz_engine/crash_handler/report/report_words.h"

namespace CrashHandler {
namespace {

// What a report opens is one at a time; the rest is for what the system's libraries open with it.
constexpr long kEnoughDescriptors = 8;

bool IsSdkLine(const std::string& line) { return IsSdkFrame(line.data(), line.size()); }

// What exists on the way to `path`.
std::string PartThatExists(std::string path) {
  struct stat status = {};
  while (path.size() > 1 && stat(path.c_str(), &status) != 0) {
    const size_t slash = path.find_last_of('/', path.size() - 2);
    if (slash == std::string::npos) return ".";
    path.resize(std::max<size_t>(slash, 1));
  }
  return path.empty() ? "." : path;
}

}  // namespace

Verdict JudgeFunction(const FunctionFacts& facts) {
  const std::string crash = "a crash in " + facts.name + " would ";
  if (IsSdkLine(facts.image + "()")) {
    return {true, crash + "be reported: " + kSdkFilter + " stands in " + facts.image};
  }
  if (IsSdkLine(facts.image + "(" + facts.seen + ")")) {
    return {true, crash + "be reported: a crash sees it as " + facts.seen + ", which has " +
                      kSdkFilter + " in it"};
  }
  const std::string not_reported =
      crash + "not be reported, unless one of its callers is the SDK's: ";
  if (facts.seen.empty()) {
    return {false, not_reported +
                       "its name is not seen, as it is neither exported nor in the "
                       "file's symbol table"};
  }
  return {false, not_reported + "a crash sees it as " + facts.seen + ", which has no " +
                     kSdkFilter + " in it"};
}

Verdict JudgeDumpFolder(const std::string& folder) {
  struct stat status = {};
  if (stat(folder.c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode)) return {false, folder + " is no folder"};
    if (access(folder.c_str(), W_OK | X_OK) == 0) return {true, folder + " can be written"};
    return {false, folder + " cannot be written: " + strerror(errno)};
  }
  // It is made when it is wanted, with what is missing above it; nothing is made in a file.
  const bool good = access((PartThatExists(folder) + "/.").c_str(), W_OK | X_OK) == 0;
  return {good,
          folder + (good ? " can be made" : std::string(" cannot be made: ") + strerror(errno))};
}

Verdict JudgeDescriptors() {
  struct rlimit limit = {};
  const bool bounded = getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  constexpr long kFarthest = 1 << 20;
  const long end =
      bounded ? static_cast<long>(std::min<rlim_t>(limit.rlim_cur, kFarthest)) : kFarthest;
  long free = 0;
  for (long at = 0; at < end && free < kEnoughDescriptors; ++at) {
    if (fcntl(static_cast<int>(at), F_GETFD) < 0) ++free;
  }
  if (free == kEnoughDescriptors) return {true, "there are free file descriptors"};
  return {false, "only " + std::to_string(free) + " file descriptors are free (ulimit -n)"};
}

}  // namespace CrashHandler
