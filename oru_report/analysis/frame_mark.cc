#include "oru_report/analysis/frame_mark.h"

#include "media_core/biz_engine/crash_handler/report/report_words.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

constexpr std::string_view kFilterWord = CrashHandler::kSdkFilter;

bool IsHandler(std::string_view symbol) {
  // The words that the crash handler's own filter leaves out, and its namespace as it is mangled.
  for (const std::string_view word : CrashHandler::kOwnFrameNames) {
    if (Contains(symbol, word)) return true;
  }
  return Contains(symbol, "N12CrashHandler") || Contains(symbol, "CrashHandler::");
}

// The path that a crash frame of Linux begins with: all there is where the list of images was cut.
std::string_view PathIn(const Frame& frame) {
  if (!StartsWith(frame.text, "/")) return {};
  return frame.text.substr(0, size_t{frame.image_at} + frame.image_size);
}

}  // namespace

const char* MarkName(Mark mark) {
  constexpr const char* kNames[] = {"handler", "SDK", "app", "system", "unknown"};
  return kNames[static_cast<int>(mark)];
}

char MarkLetter(Mark mark) { return "HSA.?"[static_cast<int>(mark)]; }

bool HasFilterWord(std::string_view text) { return Contains(text, kFilterWord); }

bool IsLibraryCode(std::string_view symbol) {
  return StartsWith(symbol, "_ZNSt") || StartsWith(symbol, "_ZNKSt") || StartsWith(symbol, "_ZSt");
}

bool IsSystemPath(std::string_view path) {
  constexpr std::string_view kFolders[] = {"/lib/",           "/lib32/",     "/lib64/",
                                           "/usr/",           "/System/",    "/libx32/",
                                           "/Library/Apple/", "/nix/store/", "/gnu/store/"};
  if (StartsWith(path, "/usr/local/")) return false;
  for (const std::string_view folder : kFolders) {
    if (StartsWith(path, folder)) return true;
  }
  // The kernel's own pages have a name without a folder.
  return StartsWith(path, "linux-vdso") || StartsWith(path, "linux-gate") || path == "[vdso]";
}

Mark MarkOf(const Report& report, const Frame& frame, std::string_view symbol) {
  if (!frame.parsed) return Mark::kUnknown;
  if (IsHandler(symbol)) return Mark::kHandler;
  const Image* image = report.ImageOf(frame.address);
  const bool named = Contains(frame.text, kFilterWord) || Contains(symbol, kFilterWord);
  if (named || (image != nullptr && Contains(image->path, kFilterWord))) return Mark::kSdk;
  const std::string_view path = image != nullptr ? image->path : PathIn(frame);
  if (image == nullptr && path.empty()) return Mark::kUnknown;
  return IsSystemPath(path) ? Mark::kSystem : Mark::kApp;
}

}  // namespace oru_report
