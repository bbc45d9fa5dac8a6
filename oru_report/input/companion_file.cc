#include "oru_report/input/companion_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "oru_report/input/safe_open.h"
#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

constexpr std::string_view kReportEnding = ".log";
constexpr std::string_view kCompanionEnding = ".json";
constexpr size_t kPiece = size_t{64} << 10;

// At most one byte more than is looked at. False when it cannot be read to there.
bool ReadBounded(int file, std::string* text) {
  while (text->size() <= kMaxCompanionBytes) {
    const size_t size = text->size();
    text->resize(size + kPiece);
    const ssize_t got = read(file, &(*text)[size], kPiece);
    text->resize(size + (got > 0 ? static_cast<size_t>(got) : 0));
    if (got < 0 && errno != EINTR) return false;
    if (got == 0) break;
  }
  return true;
}

}  // namespace

Companion ReadCompanionOf(const std::string& report_path) {
  if (!EndsWith(report_path, kReportEnding)) return {};
  std::string path = report_path.substr(0, report_path.size() - kReportEnding.size());
  path += kCompanionEnding;
  std::string error;
  const int file = OpenFoundFile(path, &error);
  if (file < 0) return {};
  std::string text;
  const bool whole = ReadBounded(file, &text);
  const int failure = errno;
  close(file);
  Companion companion = ParseCompanion(text);
  if (!whole) companion.gaps.push_back(std::string("the companion: ") + strerror(failure));
  return companion;
}

}  // namespace oru_report
