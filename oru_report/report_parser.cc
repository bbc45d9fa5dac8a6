#include "oru_report/report_parser.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <vector>

namespace oru_report {
namespace {

constexpr char kApplication[] = "Application Specific Information:";
constexpr char kCrashThread[] = "Crash Thread Backtrace:";
constexpr char kAllThreads[] = "All Thread Backtrace:";
constexpr char kImages[] = "Binary Images:";
constexpr char kCustom[] = "UserCustomInfo:";

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string LastPathEntry(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Reads "0x" and hexadecimal digits at `at`; moves `at` behind them.
bool ReadHex(const std::string& text, size_t* at, uint64_t* value) {
  if (text.compare(*at, 2, "0x") != 0) return false;
  const char* start = text.c_str() + *at + 2;
  if (isxdigit(static_cast<unsigned char>(*start)) == 0) return false;
  char* end = nullptr;
  *value = strtoull(start, &end, 16);
  *at = static_cast<size_t>(end - text.c_str());
  return true;
}

// "symbol + 12" behind an address.
void ReadSymbol(const std::string& text, Frame* frame) {
  const size_t plus = text.rfind(" + ");
  if (plus == std::string::npos) {
    frame->symbol = Trim(text);
  } else {
    frame->symbol = Trim(text.substr(0, plus));
    frame->offset = strtoull(text.c_str() + plus + 3, nullptr, 10);
  }
  // A nameless frame prints its image's base in the symbol's place.
  if (StartsWith(frame->symbol, "0x")) frame->symbol.clear();
}

// "/path/image(symbol+0xc) [0x7f0012345678]"
bool ParseBracketForm(const std::string& line, Frame* frame) {
  const size_t open = line.rfind(" [0x");
  const size_t paren = line.rfind('(', open);
  if (open == std::string::npos || line.back() != ']') return false;
  size_t at = open + 2;
  if (!ReadHex(line, &at, &frame->address)) return false;
  frame->image = LastPathEntry(line.substr(0, std::min(paren, open)));
  if (paren == std::string::npos) return true;
  const size_t close = line.find(')', paren);
  const std::string inside = line.substr(paren + 1, close - paren - 1);
  const size_t plus = inside.rfind('+');
  frame->symbol = inside.substr(0, plus);
  if (plus != std::string::npos) frame->offset = strtoull(inside.c_str() + plus + 1, nullptr, 16);
  return true;
}

// "image   0x00007f0012345678 symbol + 12", with or without a frame number in front
bool ParseColumnForm(const std::string& line, Frame* frame) {
  size_t at = line.find(" 0x");
  // An image without a name has its base, "0x...", in the first column.
  if (at == std::string::npos) return false;
  std::string image = Trim(line.substr(0, at));
  ++at;
  if (!ReadHex(line, &at, &frame->address)) return false;
  const size_t digits = image.find_first_not_of("0123456789");
  if (digits != std::string::npos && digits > 0 && image[digits] == ' ') {
    image = Trim(image.substr(digits));
  }
  frame->image = image;
  if (at < line.size()) ReadSymbol(line.substr(at + 1), frame);
  return true;
}

// The name stands between the addresses and the type, one word; it is the path's last part once
// more, and may look like the columns behind it. Returns where the type stands, or npos when
// `name` is not before it. Former versions wrote one blank before the name instead of two.
size_t TypeBehindName(const std::string& line, size_t at, const std::string& name) {
  for (const char* const blanks : {"  ", " "}) {
    const std::string column = blanks + name + " ";
    const size_t type = at + column.size();
    if (line.compare(at, column.size(), column) != 0) continue;
    if (line.find(' ', type) == line.find("  <", type)) return type;
  }
  return std::string::npos;
}

bool ParseImage(const std::string& line, Image* image) {
  size_t at = line.find_first_not_of(' ');
  if (at == std::string::npos || !ReadHex(line, &at, &image->start)) return false;
  at = line.find_first_not_of(" -", at);
  if (at == std::string::npos || !ReadHex(line, &at, &image->end)) return false;
  const std::string last = LastPathEntry(line);
  const size_t type = TypeBehindName(line, at, last);
  const bool repeated = type != std::string::npos;
  const size_t open = line.find("  <", repeated ? type : at);
  const size_t close = line.find("> ", open);
  if (open == std::string::npos || close == std::string::npos) return false;
  image->uuid = line.substr(open + 3, close - open - 3);
  image->path = line.substr(close + 2);
  const std::string name_and_type = line.substr(at, open - at);
  image->name = repeated ? last : Trim(name_and_type.substr(0, name_and_type.rfind(' ')));
  return true;
}

// "Thread 4711 worker:"
bool ParseThreadLine(const std::string& line, Thread* thread) {
  if (!StartsWith(line, "Thread ") || line.back() != ':') return false;
  char* end = nullptr;
  thread->number = static_cast<uint32_t>(strtoul(line.c_str() + 7, &end, 10));
  if (*end != ' ') return false;
  const auto name = static_cast<size_t>(end + 1 - line.c_str());
  thread->name = line.substr(name, line.size() - name - 1);
  return true;
}

// A thread's failure text carries no line end: the next block's header may follow on the same line.
void SplitFailureText(const std::string& line, std::vector<std::string>* pieces) {
  const std::string failure = "Fail to get ";
  size_t start = 0;
  size_t header = 0;
  while (line.compare(start, failure.size(), failure) == 0) {
    // Looked for once: a line may hold any number of failures.
    if (header <= start) header = line.find("Thread ", start + 1);
    const size_t next = std::min(header, line.find(failure, start + 1));
    pieces->push_back(line.substr(start, next - start));
    if (next == std::string::npos) return;
    start = next;
  }
  pieces->push_back(line.substr(start));
}

// A block ends at the empty line; until then its lines are frames, whatever they look like.
void ParseThreads(const std::vector<std::string>& lines, Report* report) {
  bool inside = false;
  for (const std::string& line : lines) {
    if (inside) {
      inside = !line.empty();
      if (inside) report->threads.back().frames.push_back(ParseFrame(line));
      continue;
    }
    std::vector<std::string> pieces;
    SplitFailureText(line, &pieces);
    for (const std::string& piece : pieces) {
      Thread thread;
      inside = ParseThreadLine(piece, &thread);
      if (inside) {
        report->threads.push_back(thread);
      } else if (!piece.empty()) {
        report->thread_notes.push_back(piece);
      }
    }
  }
}

void ParseHeader(const std::vector<std::string>& lines, Report* report) {
  for (const std::string& line : lines) {
    if (line == kApplication || line == kCrashThread) return;
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    report->header.emplace_back(line.substr(0, colon), Trim(line.substr(colon + 1)));
  }
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

using Lines = std::vector<std::string>;

// The lines between the line `title` (from `from` on) and the line `next`, or the end.
Lines Section(const Lines& lines, const std::string& title, const std::string& next) {
  const auto start = std::find(lines.begin(), lines.end(), title);
  if (start == lines.end()) return {};
  const auto end = next.empty() ? lines.end() : std::find(start + 1, lines.end(), next);
  return {start + 1, end};
}

bool Has(const Lines& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// The custom text is the host's own and may hold anything, section titles included: it is cut off
// first.
std::string TakeCustomInfo(std::string* text) {
  const std::string title = std::string("\n") + kCustom + "\n";
  const size_t images = text->find(std::string("\n") + kImages + "\n");
  const size_t at = text->find(title, images == std::string::npos ? 0 : images);
  if (at == std::string::npos) return "";
  std::string custom = text->substr(at + title.size());
  text->resize(at + 1);
  if (!custom.empty() && custom.back() == '\n') custom.pop_back();
  return custom;
}

}  // namespace

Frame ParseFrame(const std::string& line) {
  Frame frame;
  frame.parsed = !line.empty() && (ParseBracketForm(line, &frame) || ParseColumnForm(line, &frame));
  if (!frame.parsed) frame = Frame();
  frame.text = line;
  return frame;
}

bool ParseReport(const std::string& text, Report* report, std::string* error) {
  *report = Report();
  std::string body = text;
  report->custom_info = TakeCustomInfo(&body);
  const Lines lines = SplitLines(body);
  if (!Has(lines, kCrashThread) || !Has(lines, kAllThreads)) {
    *error = "not a crash report: it has no backtrace sections";
    return false;
  }
  ParseHeader({lines.begin(), std::find(lines.begin(), lines.end(), "")}, report);
  if (report->header.empty()) {
    *error = "not a crash report: it has no header";
    return false;
  }
  for (const std::string& line : Section(lines, kApplication, kCrashThread)) {
    if (!line.empty()) report->exception += (report->exception.empty() ? "" : "\n") + line;
  }
  for (const std::string& line : Section(lines, kCrashThread, kAllThreads)) {
    if (!line.empty()) report->crash_frames.push_back(ParseFrame(line));
  }
  ParseThreads(Section(lines, kAllThreads, kImages), report);
  for (const std::string& line : Section(lines, kImages, "")) {
    Image image;
    if (ParseImage(line, &image)) report->images.push_back(image);
  }
  return true;
}

}  // namespace oru_report
