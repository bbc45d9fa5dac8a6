#include "oru_report/analysis/crash_source.h"

#include <sys/stat.h>

namespace oru_report {
namespace {

constexpr int kLinesAround = 3;

// Sources that a build makes are as old as the program.
constexpr int64_t kSameBuildSeconds = 60;

bool IsNewer(const SourceText& text, const std::string& program) {
  struct stat status = {};
  if (stat(program.c_str(), &status) != 0) return false;
  return text.changed > static_cast<int64_t>(status.st_mtime) + kSameBuildSeconds;
}

}  // namespace

CrashSource FindCrashSource(const Headline& headline, Resolver* resolver,
                            const std::vector<std::string>& folders) {
  CrashSource source;
  const FrameList& frames = resolver->report().crash_frames;
  const size_t index = headline.sdk < frames.size() ? headline.sdk : headline.first;
  if (index >= frames.size() || resolver->symbols() == nullptr) return source;
  const ResolvedFrame& frame = resolver->Resolve(*frames[index], index != 0);
  const bool inlined = !frame.inlined.empty();
  source.line = inlined ? frame.inlined.front().line : frame.line;
  source.text = ReadSource(inlined ? frame.inlined.front().file : frame.file, source.line,
                           kLinesAround, folders);
  if (frame.image != nullptr) {
    source.newer = IsNewer(source.text, resolver->symbols()->Of(*frame.image).path);
  }
  return source;
}

}  // namespace oru_report
