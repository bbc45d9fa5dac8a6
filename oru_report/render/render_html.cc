#include <cinttypes>
#include <cstdio>

#include "oru_report/analysis/folding.h"
#include "oru_report/model/line_text.h"
#include "oru_report/render/companion_rows.h"
#include "oru_report/render/page_frame.h"
#include "oru_report/render/render.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

constexpr char kNone[] = "<p class=none>none</p>\n";

// A style's name of a mark; a dot is none.
char ClassOf(Mark mark) {
  const char letter = MarkLetter(mark);
  return letter == '.' || letter == '?' ? 'N' : letter;
}

class HtmlPage {
 public:
  HtmlPage(Resolver* resolver, Output* output)
      : resolver_(*resolver), report_(resolver->report()), output_(*output) {}

  void Write(const Headline& headline, const CrashSource& source, const std::string& title);

 private:
  void WriteHeadline(const Headline& headline, const CrashSource& source);
  void WriteSource(const CrashSource& source);
  void WriteFact(const char* label, const std::string& value);
  void WriteCulprit(const char* label, const std::string& text);
  void BeginFold(const char* id, const char* title, size_t count);
  // `id`: what links to the frames begin with.
  void WriteFrames(const std::string& id, const FrameList& frames, size_t from, size_t end);
  void WriteFrame(const std::string& id, const Frame& frame, size_t index);
  void WriteCrashed(const Headline& headline);
  void WriteMember(const Thread& thread, bool first);
  void WriteGroup(const ThreadGroup& group);
  void WriteThreads();
  void WriteImages();
  void WriteHeader();
  void WriteWords();
  void WriteCompanion();

  Resolver& resolver_;
  const Report& report_;
  Output& output_;
};

void HtmlPage::WriteFact(const char* label, const std::string& value) {
  if (value.empty()) return;
  output_ << "<div><dt>" << label << "</dt><dd>" << ForHtml(value) << "</dd></div>\n";
}

void HtmlPage::WriteCulprit(const char* label, const std::string& text) {
  if (text.empty()) return;
  output_ << "<p class=culprit><span class=where>" << label << "</span><code class=fn>"
          << ForHtml(text) << "</code></p>\n";
}

void HtmlPage::WriteSource(const CrashSource& source) {
  if (source.text.lines.empty()) return;
  output_ << "<figure class=source><figcaption class=where>" << ForHtml(source.text.path) << ":"
          << std::to_string(source.line)
          << (source.newer ? " – changed after the program was built, its lines may have moved"
                           : "")
          << "</figcaption>\n<pre>";
  int number = source.text.first;
  for (const std::string& line : source.text.lines) {
    output_ << "<span" << (number == source.line ? " class=hit" : "") << "><i>"
            << std::to_string(number) << "</i><code>" << ForHtml(line) << "</code>\n</span>";
    ++number;
  }
  output_ << "</pre></figure>\n";
}

void HtmlPage::WriteHeadline(const Headline& headline, const CrashSource& source) {
  const bool known = !headline.sdk_text.empty() || !headline.first_text.empty();
  const std::string& place = headline.sdk_text.empty() ? headline.first_text : headline.sdk_text;
  output_ << "<header>\n<h1><span class=kind>" << ForHtml(headline.kind) << "</span> "
          << (known ? ForHtml(place) : "at an unknown place") << "</h1>\n";
  if (!report_.exception.empty()) {
    output_ << "<p class=why>" << ForHtml(report_.exception) << "</p>\n";
  }
  if (!headline.cause.empty()) output_ << "<p class=why>" << ForHtml(headline.cause) << "</p>\n";
  for (const std::string& gap : report_.gaps) {
    output_ << "<p class=gap>Not whole: " << ForHtml(gap) << "</p>\n";
  }
  WriteSource(source);
  if (headline.first != headline.sdk) WriteCulprit("Crashed in", headline.first_text);
  WriteCulprit("Called by the app in", headline.app_text);
  output_ << "<dl>\n";
  WriteFact("App", headline.app.empty() ? headline.process : headline.app);
  WriteFact("SDK", headline.version);
  WriteFact("Session", headline.session);
  WriteFact("Time", headline.time);
  WriteFact("System", headline.system);
  output_ << "</dl>\n<button data-copy=\"" << ForHtml(HeadlineText(headline))
          << "\">Copy headline</button>\n</header>\n";
}

void HtmlPage::BeginFold(const char* id, const char* title, size_t count) {
  output_ << "<details id=" << id << "><summary><h2>" << title << "</h2> <span class=count>"
          << std::to_string(count) << "</span></summary>\n";
}

void HtmlPage::WriteFrame(const std::string& id, const Frame& frame, size_t index) {
  const ResolvedFrame& resolved = resolver_.Resolve(frame, index != 0);
  const std::string number = std::to_string(index);
  const char letter[] = {MarkLetter(resolved.mark), '\0'};
  const char style[] = {ClassOf(resolved.mark), '\0'};
  output_ << "<li class=\"frame " << style << (IsLibraryCode(resolved.symbol) ? " library" : "")
          << "\" id=" << id << "-" << number << "><a href=\"#" << id << "-" << number << "\">"
          << number << "</a><span class=\"mark " << style << "\" title=\""
          << MarkName(resolved.mark) << "\">" << letter << "</span><div>";
  for (const SourceFrame& inlined : resolved.inlined) {
    output_ << "<code class=fn>" << ForHtml(inlined.function) << " (inlined)</code>";
    if (inlined.line > 0) {
      output_ << "<span class=place>" << ForHtml(inlined.file) << ":"
              << std::to_string(inlined.line) << "</span>";
    }
  }
  std::string name = resolved.function.empty() ? OffsetName(resolved) : resolved.function;
  if (!frame.parsed) name = frame.text;
  output_ << "<code class=fn>" << ForHtml(name) << "</code>";
  if (!resolved.file.empty() && resolved.line > 0) {
    output_ << "<span class=place>" << ForHtml(resolved.file) << ":"
            << std::to_string(resolved.line) << "</span>";
  }
  if (frame.parsed) {
    char address[32];
    snprintf(address, sizeof address, "0x%016" PRIx64, frame.address);
    output_ << "<span class=where>" << ForHtml(frame.image()) << " <code>" << address
            << "</code></span>";
  }
  output_ << "</div></li>\n";
}

void HtmlPage::WriteFrames(const std::string& id, const FrameList& frames, size_t from,
                           size_t end) {
  if (from >= end) {
    output_ << "<p class=none>no frames</p>\n";
    return;
  }
  const FrameList part(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(end));
  output_ << "<ol>\n";
  for (const FrameRun& run : FoldFrames(part, from)) {
    if (run.times > 1) {
      output_ << "<li class=note>" << FoldText(run.first, run.size, run.times) << "</li>\n";
    }
    for (size_t i = 0; i < run.size; ++i) WriteFrame(id, *frames[run.first + i], run.first + i);
  }
  output_ << "</ol>\n";
}

void HtmlPage::WriteCrashed(const Headline& headline) {
  const Thread* crashed = report_.CrashThread();
  output_ << "<details id=crashed class=\"crashed thread\" open><summary><h2>Crashed here</h2> "
          << (crashed == nullptr ? "" : ForHtml(ThreadGroupTitle({crashed}, &resolver_)))
          << "</summary>\n<p class=legend><span><b class=\"mark S\">S</b> SDK</span><span><b "
             "class=\"mark "
             "A\">A</b> app</span><span><b class=mark>.</b> system</span>"
             "<a class=tools href=\"#crashed\">link</a><button data-copy=\"\">Copy thread</button>"
             "</p>\n";
  const bool from_block = report_.crash_frames.empty() && crashed != nullptr;
  const FrameList& frames = from_block ? crashed->frames : report_.crash_frames;
  const size_t handler = from_block ? 0 : headline.handler_frames;
  if (handler > 0) {
    output_ << "<details><summary class=count>" << std::to_string(handler)
            << (handler == 1 ? " frame" : " frames") << " of the crash handler</summary>\n";
    WriteFrames("c", frames, 0, handler);
    output_ << "</details>\n";
  }
  WriteFrames("c", frames, handler, frames.size());
  output_ << "</details>\n";
}

// One of several equal threads. The first one's link is that of the group.
void HtmlPage::WriteMember(const Thread& thread, bool first) {
  const std::string number = std::to_string(thread.number);
  const std::string text = number + (thread.name.empty() ? "" : " " + std::string(thread.name));
  if (first) {
    output_ << "<span class=member>" << ForHtml(text) << "</span> ";
  } else {
    output_ << "<a class=member id=t" << number << " href=\"#t" << number << "\">" << ForHtml(text)
            << "</a> ";
  }
}

void HtmlPage::WriteGroup(const ThreadGroup& group) {
  const Thread& thread = *group.front();
  const std::string id = "t" + std::to_string(thread.number);
  output_ << "<details class=thread id=" << id << "><summary>"
          << ForHtml(ThreadGroupTitle(group, &resolver_));
  if (group.size() == 1 && !thread.frames.empty()) {
    output_ << " <span class=top>" << ForHtml(resolver_.NameOf(*thread.frames[0], false))
            << "</span>";
  }
  output_ << "</summary>\n<p class=tools><a href=\"#" << id << "\">link</a> "
          << "<button data-copy=\"\">Copy thread</button></p>\n";
  if (group.size() > 1) {
    output_ << "<p class=members>";
    for (const Thread* one : group) WriteMember(*one, one == group.front());
    output_ << "</p>\n";
  }
  WriteFrames(id, thread.frames, 0, thread.frames.size());
  output_ << "</details>\n";
}

void HtmlPage::WriteThreads() {
  const size_t crashed = report_.CrashThread() == nullptr ? 0 : 1;
  BeginFold("threads", "Other threads", report_.threads.size() - crashed);
  const std::vector<ThreadGroup> groups = FoldThreads(report_, report_.CrashThread());
  if (groups.empty()) output_ << kNone;
  for (const ThreadGroup& group : groups) WriteGroup(group);
  for (const std::string_view note : report_.thread_notes) {
    output_ << "<p class=\"word where\">" << ForHtml(note) << "</p>\n";
  }
  output_ << "</details>\n";
}

void HtmlPage::WriteImages() {
  BeginFold("images", "Images", report_.images.size());
  if (report_.images.empty()) {
    output_ << kNone << "</details>\n";
    return;
  }
  output_ << "<table><thead><tr><th>Name</th><th>Code</th><th>Build id</th><th>Path</th></tr>"
             "</thead>\n<tbody>\n";
  for (const Image& image : report_.images) {
    char range[64];
    snprintf(range, sizeof range, "0x%012" PRIx64 "&nbsp;–&nbsp;0x%012" PRIx64, image.start,
             image.end);
    const std::string symbols = SymbolsText(image, &resolver_);
    output_ << "<tr class=image><td><b>" << ForHtml(image.name) << "</b></td><td><code>" << range
            << "</code></td><td><code>" << ForHtml(image.uuid) << "</code></td><td>"
            << ForHtml(image.path);
    if (!symbols.empty()) output_ << " <span class=where>" << ForHtml(symbols) << "</span>";
    output_ << "</td></tr>\n";
  }
  output_ << "</tbody></table></details>\n";
}

void HtmlPage::WriteHeader() {
  BeginFold("header", "Header", report_.header.size());
  output_ << "<dl>\n";
  for (const auto& [label, value] : report_.header) {
    output_ << "<dt>" << ForHtml(label) << "</dt><dd class=word>"
            << (value.empty() ? "<span class=none>none</span>" : ForHtml(value)) << "</dd>\n";
  }
  output_ << "</dl></details>\n";
}

void HtmlPage::WriteWords() {
  if (report_.custom_info.empty()) return;
  output_ << "<details id=words><summary><h2>Words of the host</h2></summary>\n<pre>";
  std::string_view rest = report_.custom_info;
  for (std::string_view line; TakeLine(&rest, &line);) {
    output_ << "<span class=word>" << ForHtml(line) << "\n</span>";
  }
  output_ << "</pre></details>\n";
}

void HtmlPage::WriteCompanion() {
  const Companion& companion = report_.companion;
  if (!companion.found) return;
  const std::vector<CompanionRow> rows = RowsOf(companion);
  BeginFold("companion", "Companion", rows.size());
  for (const std::string& gap : companion.gaps) {
    output_ << "<p class=gap>Not whole: " << ForHtml(gap) << "</p>\n";
  }
  output_ << "<dl>\n";
  for (const CompanionRow& row : rows) {
    output_ << "<dt>" << ForHtml(row.label) << "</dt><dd class=word>" << ForHtml(row.text)
            << "</dd>\n";
  }
  output_ << "</dl></details>\n";
}

void HtmlPage::Write(const Headline& headline, const CrashSource& source,
                     const std::string& title) {
  BeginPage(title, &output_);
  WriteHeadline(headline, source);
  WriteNavigation("Frames, threads, images, words, addresses", &output_);
  output_ << "<main>\n";
  WriteCrashed(headline);
  WriteThreads();
  WriteImages();
  WriteHeader();
  WriteWords();
  WriteCompanion();
  output_ << "</main>\n<p class=where>" << ForHtml(title) << "</p>\n";
  EndPage(&output_);
}

}  // namespace

void RenderHtml(const Headline& headline, Resolver* resolver, const CrashSource& source,
                const std::string& title, Output* output) {
  HtmlPage(resolver, output).Write(headline, source, title);
}

}  // namespace oru_report
