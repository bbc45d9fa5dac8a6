#include "oru_report/model/report_parser.h"

#include <algorithm>
#include <numeric>

#include "oru_report/model/frame_table.h"
#include "oru_report/model/image_line.h"
#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

constexpr std::string_view kFirstLabel = "Harware Model:";
constexpr std::string_view kApplication = "Application Specific Information:";
constexpr std::string_view kCrashThread = "Crash Thread Backtrace:";
constexpr std::string_view kAllThreads = "All Thread Backtrace:";
constexpr std::string_view kImages = "Binary Images:";
constexpr std::string_view kCustom = "UserCustomInfo:";
constexpr std::string_view kFailure = "Fail to get ";

// "Thread 4711 worker:"
bool ParseThreadLine(std::string_view line, Thread* thread) {
  if (!StartsWith(line, "Thread ") || line.back() != ':') return false;
  size_t digits = 0;
  thread->number = static_cast<uint32_t>(LeadingNumber(line.substr(7), 10, &digits));
  const size_t name = 7 + digits + 1;
  if (name > line.size() || line[name - 1] != ' ') return false;
  thread->name = line.substr(name, line.size() - name - 1);
  return true;
}

// Walks the lines once, from section to section in the order that reports have.
class Parser {
 public:
  Parser(std::string_view text, Report* report)
      : rest_(text), report_(report), table_(&report->frames) {}

  // False when the text is no report.
  bool Run(std::string* error);

 private:
  enum Section { kInHeader, kInApplication, kInCrashThread, kInThreads, kInImages, kInCustom };

  // Leaves out what stands before the report, such as the words of a mail. Of a text without the
  // first label the lines up to the first title are what is left of the section before it.
  void FindBeginning();
  void ReadLine(std::string_view line);
  // Whether the line is the title of a section that may follow; the section is entered then.
  bool EntersSection(std::string_view line);
  void ReadHeader(std::string_view line);
  void ReadException(std::string_view line);
  void ReadThreads(std::string_view line);
  void ReadImage(std::string_view line);
  // A thread's failure text carries no line end: the next block's header may follow on its line.
  void ReadFailures(std::string_view line);
  void ReadPiece(std::string_view piece);
  void AddFrame(std::string_view line, FrameList* frames);
  // Whether there is more than titles, which are in other texts, too.
  bool HasPart() const;
  void Finish();
  void TellGaps();
  // Whether there is room for one more; otherwise the report is known to be cut there.
  bool HasRoom(size_t count, size_t most, const char* what);

  std::string_view rest_;
  Report* report_;
  FrameTable table_;
  Section section_ = kInHeader;
  bool begins_ = false;
  // Whether the host's words end as reports do.
  bool ended_ = false;
  bool header_ended_ = false;
  bool inside_block_ = false;
  // The block that the lines belong to; null when there is no room for it.
  Thread* block_ = nullptr;
  bool saw_crash_thread_ = false;
  bool saw_all_threads_ = false;
  size_t frames_ = 0;
};

bool Parser::HasRoom(size_t count, size_t most, const char* what) {
  if (count < most) return true;
  const std::string gap =
      "it has more than " + std::to_string(most) + " " + what + "; the rest is left out";
  const auto& gaps = report_->gaps;
  if (std::find(gaps.begin(), gaps.end(), gap) == gaps.end()) report_->gaps.push_back(gap);
  return false;
}

void Parser::AddFrame(std::string_view line, FrameList* frames) {
  if (!HasRoom(frames_, kMaxFrames, "frames")) return;
  ++frames_;
  frames->push_back(table_.Add(line));
}

void Parser::ReadHeader(std::string_view line) {
  if (line.empty()) header_ended_ = true;
  const size_t colon = line.find(':');
  if (header_ended_ || colon == std::string_view::npos) return;
  if (!HasRoom(report_->header.size(), kMaxHeaderLines, "header lines")) return;
  report_->header.emplace_back(line.substr(0, colon), Trim(line.substr(colon + 1)));
}

void Parser::ReadException(std::string_view line) {
  // One text from its first line to its last: a reason may have several.
  if (line.empty()) return;
  const std::string_view before = report_->exception;
  const char* start = before.empty() ? line.data() : before.data();
  report_->exception = {start, static_cast<size_t>(line.data() + line.size() - start)};
}

void Parser::ReadPiece(std::string_view piece) {
  Thread thread;
  inside_block_ = ParseThreadLine(piece, &thread);
  block_ = nullptr;
  if (inside_block_) {
    if (!HasRoom(report_->threads.size(), kMaxThreads, "threads")) return;
    report_->threads.push_back(std::move(thread));
    block_ = &report_->threads.back();
  } else if (!piece.empty() && HasRoom(report_->thread_notes.size(), kMaxNotes, "failures")) {
    report_->thread_notes.push_back(piece);
  }
}

void Parser::ReadFailures(std::string_view line) {
  size_t start = 0;
  size_t header = 0;
  while (line.substr(start, kFailure.size()) == kFailure) {
    // Looked for once: a line may hold any number of failures.
    if (header <= start) header = line.find("Thread ", start + 1);
    const size_t next = std::min(header, line.find(kFailure, start + 1));
    ReadPiece(line.substr(start, next - start));
    if (next == std::string_view::npos) return;
    start = next;
  }
  ReadPiece(line.substr(start));
}

// A block ends at the empty line; until then its lines are frames, whatever they look like.
void Parser::ReadThreads(std::string_view line) {
  if (!inside_block_) {
    if (!line.empty()) ReadFailures(line);
    return;
  }
  inside_block_ = !line.empty();
  if (inside_block_ && block_ != nullptr) AddFrame(line, &block_->frames);
}

void Parser::ReadImage(std::string_view line) {
  Image image;
  if (!ParseImage(line, &image)) return;
  if (HasRoom(report_->images.size(), kMaxImages, "images")) report_->images.push_back(image);
}

bool Parser::EntersSection(std::string_view line) {
  if (section_ < kInApplication && line == kApplication) {
    section_ = kInApplication;
  } else if (section_ < kInCrashThread && line == kCrashThread) {
    section_ = kInCrashThread;
    saw_crash_thread_ = true;
  } else if (section_ == kInCrashThread && line == kAllThreads) {
    section_ = kInThreads;
    saw_all_threads_ = true;
  } else if (section_ == kInThreads && line == kImages) {
    section_ = kInImages;
  } else if (section_ == kInImages && line == kCustom) {
    section_ = kInCustom;
  } else {
    return false;
  }
  header_ended_ = true;
  return true;
}

void Parser::ReadLine(std::string_view line) {
  if (EntersSection(line)) return;
  switch (section_) {
    case kInHeader:
      return ReadHeader(line);
    case kInApplication:
      return ReadException(line);
    case kInCrashThread:
      if (!line.empty()) AddFrame(line, &report_->crash_frames);
      return;
    case kInThreads:
      return ReadThreads(line);
    case kInImages:
      return ReadImage(line);
    case kInCustom:
      return;
  }
}

void Parser::FindBeginning() {
  std::string_view after = rest_;
  std::string_view line;
  while (TakeLine(&after, &line)) {
    const size_t blanks = std::min(line.find_first_not_of(" \t"), line.size());
    const std::string_view label = line.substr(blanks);
    // A file may end within the label.
    const bool part = line.data() == rest_.data() && after.empty() && !label.empty() &&
                      StartsWith(kFirstLabel, label);
    begins_ = part || StartsWith(label, kFirstLabel);
    if (begins_) {
      rest_.remove_prefix(static_cast<size_t>(label.data() - rest_.data()));
      return;
    }
    if (line == kApplication || line == kCrashThread) return;
    if (line == kAllThreads || line == kImages || line == kCustom) {
      section_ = line == kAllThreads ? kInCrashThread : line == kImages ? kInThreads : kInImages;
      inside_block_ = true;
      return;
    }
  }
}

bool Parser::HasPart() const {
  const auto& frames = report_->frames;
  const bool titled = saw_crash_thread_ || saw_all_threads_ || section_ == kInCustom;
  return titled &&
         (!report_->images.empty() || std::any_of(frames.begin(), frames.end(),
                                                  [](const Frame& frame) { return frame.parsed; }));
}

void Parser::TellGaps() {
  constexpr const char* kEnds[] = {"header",         "application's information",
                                   "crashed thread", "threads",
                                   "list of images", "host's words"};
  if (!begins_) report_->gaps.emplace_back("it is cut off at its beginning");
  if (!ended_) {
    report_->gaps.push_back("it is cut off within its " + std::string(kEnds[section_]));
  }
}

void Parser::Finish() {
  auto& order = report_->images_by_start;
  order.resize(report_->images.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return report_->images[a].start < report_->images[b].start;
  });
  TellGaps();
}

bool Parser::Run(std::string* error) {
  const bool empty = rest_.empty();
  FindBeginning();
  std::string_view line;
  // The custom text is the host's own and may hold anything, section titles included.
  while (section_ != kInCustom && TakeLine(&rest_, &line)) ReadLine(line);
  if (section_ == kInCustom) {
    report_->custom_info = rest_;
    ended_ = EndsWith(rest_, "\n");
    if (ended_) report_->custom_info.remove_suffix(1);
  }
  if (!begins_ && !HasPart()) {
    *error = empty ? "it is empty" : "it is no crash report";
    return false;
  }
  Finish();
  return true;
}

}  // namespace

bool ParseReport(std::string text, Report* report, std::string* error) {
  *report = Report();
  error->clear();
  report->text = std::make_unique<const std::string>(std::move(text));
  Parser parser(*report->text, report);
  return parser.Run(error);
}

}  // namespace oru_report
