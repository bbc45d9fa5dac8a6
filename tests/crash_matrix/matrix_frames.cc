#include "tests/crash_matrix/matrix_frames.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace crash_test {
namespace {

using oru_test::CrashReportText;
using Texts = std::vector<std::string>;

constexpr size_t kMaxWordInMessage = 200;

bool HasAllWords(const std::string& line, const std::string& words) {
  std::istringstream each(words);
  for (std::string word; each >> word;) {
    if (line.find(word) == std::string::npos) return false;
  }
  return true;
}

// The lines with all of `words`, which have blanks between them.
Texts LinesWith(const Texts& lines, const std::string& words) {
  Texts found;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
               [&words](const std::string& line) { return HasAllWords(line, words); });
  return found;
}

// The address of a block's line, behind the image's name, as the section writes it.
std::string AddressInSection(const std::string& line) {
  const size_t blank = line.find(" 0x");
  if (blank == std::string::npos) return "no address";
  return "[" + line.substr(blank + 1, line.find(' ', blank + 1) - blank - 1) + "]";
}

// The section does not name every function, so the address tells that it has the frame, too.
std::string CheckInBoth(const std::string& words, const Texts& section, const Texts& block) {
  const Texts lines = LinesWith(block, words);
  if (lines.empty()) return "no frame in the thread's block: ";
  const bool in_section = std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
    return CrashReportText::AnyContains(section, AddressInSection(line));
  });
  return in_section ? "" : "no such frame in the crash thread's section: ";
}

std::string CheckInOne(const std::string& words, const Texts& lines) {
  return LinesWith(lines, words).empty() ? "no frame: " : "";
}

// The first complaint about one of `all`.
template <typename Check>
std::string FirstWrong(const Texts& all, Check check) {
  for (const std::string& words : all) {
    const std::string error = check(words);
    if (!error.empty()) return error + words.substr(0, kMaxWordInMessage);
  }
  return "";
}

}  // namespace

std::string CheckFrames(const Row& row, const CrashReportText& report) {
  const auto* thread = report.FindThread(static_cast<uint32_t>(report.crash_thread));
  const bool needs_block = !row.frames.empty() || !row.block_frames.empty();
  if (thread == nullptr && needs_block) return "no block of the crashed thread";
  const Texts& section = report.crash_frames;
  const Texts block = thread != nullptr ? thread->frames : Texts{};
  if (section.empty()) return "no frames in the crash thread's section";
  std::string error = FirstWrong(
      row.frames, [&](const std::string& words) { return CheckInBoth(words, section, block); });
  if (error.empty()) {
    error = FirstWrong(row.block_frames,
                       [&](const std::string& words) { return CheckInOne(words, block); });
  }
  if (!error.empty()) return error;
  return FirstWrong(row.section_frames,
                    [&](const std::string& words) { return CheckInOne(words, section); });
}

}  // namespace crash_test
