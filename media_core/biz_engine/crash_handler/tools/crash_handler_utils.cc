#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

#include <sys/stat.h>

#include <cstdio>
#include <ctime>
#include <memory>

#include "utils/shared_files.h"
#include "utils/shared_random.h"
#include "utils/shared_text.h"

using tessik::shared::EntryKind;

std::vector<std::string> SplitString(const std::string& text, const std::string& delims,
                                     bool keep_delims) {
  return tessik::shared::SplitAtSet(text, delims, keep_delims);
}

namespace CrashHandler {

namespace {

constexpr char kTag[] = "Crash_Handler";

// Dates are those of a zone eight hours east of UTC, wherever the machine is.
constexpr int kZoneOffsetSeconds = 28800;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

bool IsFolder(std::FILE* file) {
  struct stat status = {};
  return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

// Fields between "_"; an empty last field does not count.
std::vector<std::string> FieldsOfStem(const std::string& stem) {
  std::vector<std::string> fields;
  size_t begin = 0;
  for (size_t cut = stem.find('_'); cut != std::string::npos; cut = stem.find('_', begin)) {
    fields.emplace_back(stem, begin, cut - begin);
    begin = cut + 1;
  }
  if (begin < stem.size()) fields.emplace_back(stem, begin);
  return fields;
}

bool HasSuffix(const std::string& name, const std::string& suffix) {
  if (suffix.empty()) return true;
  const size_t dot = name.rfind('.');
  return dot != std::string::npos && name.compare(dot + 1, std::string::npos, suffix) == 0;
}

}  // namespace

std::string GetCrashTypeString(CrashType type) {
  switch (type) {
    case Signal:
      return "Signal";
    case Exception:
      return "Exception";
    case MemoryError:
      return "MemoryError";
    case Terminate:
      return "Terminate";
  }
  return "Unknown";
}

std::string GetOsName() { return "Mac OS X"; }

std::string GenerateRandomString(int64_t seed, uint64_t length, const std::string& key) {
  static tessik::shared::RandomCounters counters(seed);
  return tessik::shared::RandomFromKey(&counters, std::time(nullptr), length, key);
}

std::string BuildUrl(const UrlParts& parts) { return tessik::shared::JoinUrl(parts); }

std::string RemoveUrlKey(const std::string& url, const std::string& key) {
  return tessik::shared::WithoutUrlKey(url, key);
}

bool IsFileInDir(const std::string& dir, const std::string& name) {
  bool found = false;
  const bool opened = tessik::shared::VisitDir(dir, [&](const std::string& entry, EntryKind kind) {
    found = kind != EntryKind::kOther && entry == name;
    return !found;
  });
  if (!opened) {
    PrintLog(kCrashLogError, kTag, __FILE__, __LINE__, "open dir error when check file, %s",
             dir.c_str());
  }
  return found;
}

uint64_t GetFileSize(const std::string& path) {
  const File file(std::fopen(path.c_str(), "rb"));
  // A folder can be opened, but its stream has no end to measure.
  if (!file || IsFolder(file.get())) {
    PrintLog(kCrashLogError, kTag, __FILE__, __LINE__, "open file %s failed when check size",
             path.c_str());
    return 0;
  }
  const off_t begin = ftello(file.get());
  if (begin < 0 || fseeko(file.get(), 0, SEEK_END) != 0) return 0;
  const off_t end = ftello(file.get());
  return end > begin ? static_cast<uint64_t>(end - begin) : 0;
}

std::vector<std::string> GetDirInPath(const std::string& dir) {
  std::vector<std::string> names;
  tessik::shared::VisitDir(dir, [&](const std::string& entry, EntryKind kind) {
    if (kind == EntryKind::kFolder) names.push_back(entry);
    return true;
  });
  return names;
}

std::vector<std::string> GetDirFileByPrefixAndSuffix(const std::string& dir,
                                                     const std::string& prefix,
                                                     const std::string& suffix) {
  std::vector<std::string> names;
  tessik::shared::VisitDir(dir, [&](const std::string& entry, EntryKind kind) {
    if (kind == EntryKind::kOther) return true;
    if (entry.find_first_of(prefix) == 0 && HasSuffix(entry, suffix)) names.push_back(entry);
    return true;
  });
  return names;
}

bool ParseCrashInfoFromFileName(const std::string& name, std::string* a, std::string* b,
                                std::string* c, std::string* d) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return false;
  std::vector<std::string> fields = FieldsOfStem(name.substr(0, dot));
  if (fields.size() != 5) return false;
  *a = std::move(fields[1]);
  *b = std::move(fields[2]);
  *c = std::move(fields[3]);
  *d = std::move(fields[4]);
  return true;
}

std::string GetCurrentDate(int32_t offset) {
  const std::time_t moment = std::time(nullptr) + offset + kZoneOffsetSeconds;
  std::tm utc = {};
  gmtime_r(&moment, &utc);
  char text[32];
  return std::string(text, std::strftime(text, sizeof(text), "%Y%m%d", &utc));
}

bool DirExistsOrCreat(const std::string& path) {
  return tessik::shared::WritableOrCreated(path.c_str());
}

bool IsFileExist(const std::string& path) { return tessik::shared::Exists(path); }

}  // namespace CrashHandler
