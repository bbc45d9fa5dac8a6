#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "oru_report/analysis/folding.h"
#include "oru_report/model/line_text.h"
#include "oru_report/render/companion_rows.h"
#include "oru_report/render/render.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

// Of a companion's rows.
constexpr size_t kLabelWidth = 11;

// ANSI colours, or nothing at all.
struct Palette {
  const char* title = "";
  const char* crash = "";
  const char* sdk = "";
  const char* app = "";
  const char* place = "";
  const char* dim = "";
  const char* end = "";
};

Palette MakePalette(bool color) {
  if (!color) return {};
  return {"\x1b[1m", "\x1b[1;31m", "\x1b[1;36m", "\x1b[1m", "\x1b[32m", "\x1b[2m", "\x1b[0m"};
}

class TextPage {
 public:
  TextPage(Resolver* resolver, const Timeline* timeline, bool color, Output* output)
      : resolver_(*resolver),
        report_(resolver->report()),
        timeline_(timeline),
        palette_(MakePalette(color)),
        output_(*output) {}

  void Write(const Headline& headline);

 private:
  void Line(const char* color, std::string_view text) {
    output_ << color << ForTerminal(text) << palette_.end << "\n";
  }
  void WriteHeader();
  void WriteCrashedThread(const Headline& headline);
  void WriteTimeline();
  void WriteThreads();
  void WriteGroup(const ThreadGroup& group);
  void WriteFrames(const FrameList& frames, size_t from);
  void WriteFrame(const Frame& frame, size_t index);
  void WritePlace(const std::string& file, int line);
  void WriteImages();
  void WriteCustomInfo();
  void WriteCompanion();
  const char* ColorOf(Mark mark) const;

  Resolver& resolver_;
  const Report& report_;
  const Timeline* const timeline_;
  const Palette palette_;
  Output& output_;
};

const char* TextPage::ColorOf(Mark mark) const {
  if (mark == Mark::kSdk) return palette_.sdk;
  if (mark == Mark::kApp) return palette_.app;
  return mark == Mark::kHandler ? palette_.dim : "";
}

void TextPage::WriteHeader() {
  for (const auto& [label, value] : report_.header) {
    const size_t padding = label.size() < 18 ? 18 - label.size() : 1;
    output_ << ForTerminal(label) << ":" << std::string(padding, ' ') << ForTerminal(value) << "\n";
  }
  if (report_.exception.empty()) return;
  output_ << "\n";
  std::string_view rest = report_.exception;
  for (std::string_view line; TakeLine(&rest, &line);) Line(palette_.crash, line);
}

void TextPage::WritePlace(const std::string& file, int line) {
  if (file.empty() || line <= 0) return;
  output_ << "          " << palette_.place << "at " << ForTerminal(file) << ":"
          << std::to_string(line) << palette_.end << "\n";
}

void TextPage::WriteFrame(const Frame& frame, size_t index) {
  const std::string number = "#" + std::to_string(index);
  output_ << "  " << number << std::string(number.size() < 4 ? 4 - number.size() : 1, ' ');
  if (!frame.parsed) {
    output_ << "?  " << ForTerminal(frame.text) << "\n";
    return;
  }
  const ResolvedFrame& resolved = resolver_.Resolve(frame, index != 0);
  const char letter[] = {MarkLetter(resolved.mark), '\0'};
  const bool named = !resolved.function.empty();
  output_ << ColorOf(resolved.mark) << letter << palette_.end << "  ";
  for (const SourceFrame& inlined : resolved.inlined) {
    output_ << ColorOf(resolved.mark) << ForTerminal(inlined.function) << palette_.end
            << palette_.dim << "  (inlined)" << palette_.end << "\n";
    WritePlace(inlined.file, inlined.line);
    output_ << std::string(9, ' ');
  }
  output_ << ColorOf(resolved.mark)
          << ForTerminal(named ? resolved.function : OffsetName(resolved));
  if (resolved.has_offset) output_ << " + " << std::to_string(resolved.offset);
  output_ << palette_.end << "\n";
  WritePlace(resolved.file, resolved.line);
  char address[32];
  snprintf(address, sizeof address, "0x%016" PRIx64, frame.address);
  output_ << "          " << palette_.dim << "in " << ForTerminal(frame.image()) << "  " << address
          << palette_.end << "\n";
}

void TextPage::WriteFrames(const FrameList& frames, size_t from) {
  for (const FrameRun& run : FoldFrames(frames, from)) {
    if (run.times > 1) {
      output_ << "       " << palette_.dim << FoldText(run.first, run.size, run.times)
              << palette_.end << "\n";
    }
    for (size_t i = 0; i < run.size; ++i) WriteFrame(*frames[run.first + i], run.first + i);
  }
}

void TextPage::WriteCrashedThread(const Headline& headline) {
  const Thread* crashed = report_.CrashThread();
  output_ << "\n" << palette_.crash << "Crashed here" << palette_.end << "\n";
  if (crashed != nullptr) {
    Line(palette_.title, ThreadGroupTitle({crashed}, &resolver_) + "  (crashed)");
  }
  if (report_.crash_frames.empty() && crashed != nullptr) return WriteFrames(crashed->frames, 0);
  if (headline.handler_frames > 0) {
    const bool one = headline.handler_frames == 1;
    output_ << "       " << palette_.dim << std::to_string(headline.handler_frames)
            << (one ? " frame" : " frames") << " of the crash handler" << palette_.end << "\n";
  }
  WriteFrames(report_.crash_frames, headline.handler_frames);
}

void TextPage::WriteGroup(const ThreadGroup& group) {
  constexpr size_t kMostNamed = 12;
  output_ << "\n";
  Line(palette_.title, ThreadGroupTitle(group, &resolver_));
  if (group.size() > 1) {
    std::string names;
    for (size_t i = 0; i < std::min(kMostNamed, group.size()); ++i) {
      names += (i == 0 ? "" : ", ") + std::to_string(group[i]->number);
      if (!group[i]->name.empty()) names += " " + std::string(group[i]->name);
    }
    const size_t more = group.size() - std::min(kMostNamed, group.size());
    if (more > 0) names += " and " + std::to_string(more) + " more";
    output_ << "  ";
    Line(palette_.dim, names);
  }
  WriteFrames(group.front()->frames, 0);
}

void TextPage::WriteTimeline() {
  if (timeline_ == nullptr) return;
  output_ << "\n";
  Line(palette_.title, "Before the crash");
  RenderTimeline(*timeline_, &output_);
}

void TextPage::WriteThreads() {
  for (const ThreadGroup& group : FoldThreads(report_, report_.CrashThread())) WriteGroup(group);
  for (const std::string_view note : report_.thread_notes)
    output_ << "\n" << ForTerminal(note) << "\n";
}

void TextPage::WriteImages() {
  size_t width = 0;
  for (const Image& image : report_.images) {
    width = std::max(width, std::min<size_t>(image.name.size(), 40));
  }
  output_ << "\n";
  Line(palette_.title, "Images (" + std::to_string(report_.images.size()) + ")");
  for (const Image& image : report_.images) {
    char range[64];
    snprintf(range, sizeof range, "  0x%012" PRIx64 " - 0x%012" PRIx64 "  ", image.start,
             image.end);
    const std::string name = ForTerminal(image.name);
    const size_t padding = name.size() < width ? width - name.size() : 0;
    const std::string symbols = SymbolsText(image, &resolver_);
    output_ << range << name << std::string(padding, ' ') << "  " << ForTerminal(image.uuid) << "  "
            << ForTerminal(image.path);
    if (!symbols.empty()) output_ << "  (" << ForTerminal(symbols) << ")";
    output_ << "\n";
  }
}

// Line by line, because line ends are the only control characters that a terminal may see.
void TextPage::WriteCustomInfo() {
  if (report_.custom_info.empty()) return;
  output_ << "\n";
  Line(palette_.title, "The host's own words");
  std::string_view rest = report_.custom_info;
  for (std::string_view line; TakeLine(&rest, &line);) output_ << ForTerminal(line) << "\n";
}

void TextPage::WriteCompanion() {
  const Companion& companion = report_.companion;
  if (!companion.found) return;
  output_ << "\n";
  Line(palette_.title, "Companion");
  for (const std::string& gap : companion.gaps) {
    output_ << "Not whole: " << ForTerminal(gap) << "\n";
  }
  for (const CompanionRow& row : RowsOf(companion)) {
    const std::string label = ForTerminal(row.label);
    const size_t padding = label.size() < kLabelWidth ? kLabelWidth - label.size() : 1;
    output_ << "  " << palette_.dim << label << palette_.end << std::string(padding, ' ')
            << ForTerminal(row.text) << "\n";
  }
}

void TextPage::Write(const Headline& headline) {
  Line(palette_.crash, HeadlineText(headline));
  for (const std::string& gap : report_.gaps) output_ << "Not whole: " << ForTerminal(gap) << "\n";
  output_ << "\n";
  WriteHeader();
  WriteCrashedThread(headline);
  WriteTimeline();
  WriteThreads();
  WriteImages();
  WriteCustomInfo();
  WriteCompanion();
}

}  // namespace

void RenderText(const Headline& headline, Resolver* resolver, const Timeline* timeline, bool color,
                Output* output) {
  TextPage(resolver, timeline, color, output).Write(headline);
}

}  // namespace oru_report
