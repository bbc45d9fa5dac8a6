#include <cinttypes>
#include <cstdio>

#include "oru_report/analysis/folding.h"
#include "oru_report/render/page_assets.h"
#include "oru_report/render/render.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

constexpr char kNone[] = "<p class=none>none</p>\n";

class HtmlPage {
 public:
  HtmlPage(Resolver* resolver, Output* output)
      : resolver_(*resolver), report_(resolver->report()), output_(*output) {}

  void Write(const Headline& headline, const std::string& title);

 private:
  void Heading(const char* text, size_t count) {
    output_ << "<h2>" << text << " <span class=count>" << std::to_string(count) << "</span></h2>\n";
  }
  void WriteHeader();
  void WriteFrame(const Frame& frame, size_t index);
  void WriteFrames(const FrameList& frames, size_t from);
  void WriteGroup(const ThreadGroup& group);
  void WriteThreads();
  void WriteImages();

  Resolver& resolver_;
  const Report& report_;
  Output& output_;
};

void HtmlPage::WriteFrame(const Frame& frame, size_t index) {
  const ResolvedFrame& resolved = resolver_.Resolve(frame, index != 0);
  const std::string place = Resolver::PlaceOf(resolved);
  output_ << "<li><code class=fn>" << ForHtml(resolver_.NameOf(frame, index != 0)) << "</code>";
  if (!place.empty()) output_ << "<span class=place>" << ForHtml(place) << "</span>";
  if (!frame.image().empty()) {
    char address[32];
    snprintf(address, sizeof address, "0x%016" PRIx64, frame.address);
    output_ << "<span class=where>" << ForHtml(frame.image()) << " <code>" << address
            << "</code></span>";
  }
  output_ << "</li>\n";
}

void HtmlPage::WriteFrames(const FrameList& frames, size_t from) {
  if (frames.empty()) {
    output_ << "<p class=none>no frames</p>\n";
    return;
  }
  output_ << "<ol start=0>\n";
  for (size_t i = from; i < frames.size(); ++i) WriteFrame(*frames[i], i);
  output_ << "</ol>\n";
}

void HtmlPage::WriteGroup(const ThreadGroup& group) {
  output_ << "<details><summary>" << ForHtml(ThreadGroupTitle(group, &resolver_)) << "</summary>\n";
  WriteFrames(group.front()->frames, 0);
  output_ << "</details>\n";
}

void HtmlPage::WriteThreads() {
  Heading("Threads", report_.threads.size());
  output_ << (report_.threads.empty() ? kNone : "<p><button id=fold>Unfold all</button></p>\n");
  for (const ThreadGroup& group : FoldThreads(report_, report_.CrashThread())) WriteGroup(group);
  for (const std::string_view note : report_.thread_notes) {
    output_ << "<p>" << ForHtml(note) << "</p>\n";
  }
}

void HtmlPage::WriteImages() {
  Heading("Images", report_.images.size());
  if (report_.images.empty()) {
    output_ << kNone;
    return;
  }
  output_ << "<p><input id=search type=search placeholder=\"Name, path, UUID or address\" "
             "aria-label=\"Search images\"> <span id=found role=status></span></p>\n"
             "<div class=wide><table id=images>\n<thead><tr><th>Name</th><th>Code</th><th>UUID</th>"
             "<th>Path</th></tr></thead>\n<tbody>\n";
  for (const Image& image : report_.images) {
    char range[64];
    snprintf(range, sizeof range, "0x%012" PRIx64 "&nbsp;–&nbsp;0x%012" PRIx64, image.start,
             image.end);
    output_ << "<tr><td><b>" << ForHtml(image.name) << "</b></td><td><code>" << range
            << "</code></td><td><code>" << ForHtml(image.uuid) << "</code></td><td class=path>"
            << ForHtml(image.path) << "</td></tr>\n";
  }
  output_ << "</tbody></table></div>\n";
}

void HtmlPage::WriteHeader() {
  output_ << "<dl>\n";
  for (const auto& [label, value] : report_.header) {
    output_ << "<dt>" << ForHtml(label) << "</dt><dd>"
            << (value.empty() ? "<span class=none>none</span>" : ForHtml(value)) << "</dd>\n";
  }
  output_ << "</dl>\n";
}

void HtmlPage::Write(const Headline& headline, const std::string& title) {
  output_ << "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8>\n"
             "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
             "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; "
             "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n<title>"
          << ForHtml(title) << "</title>\n<style>" << kPageStyle << "</style></head>\n<body>\n"
          << "<h1>" << ForHtml(HeadlineText(headline)) << "</h1>\n<p class=top>" << ForHtml(title)
          << "</p>\n";
  WriteHeader();
  if (!report_.exception.empty()) {
    output_ << "<p class=exception>" << ForHtml(report_.exception) << "</p>\n";
  }
  const Thread* crashed = report_.CrashThread();
  output_ << "<h2>Crashed here</h2>\n<details class=crashed open><summary>"
          << (crashed == nullptr ? "" : ForHtml(ThreadGroupTitle({crashed}, &resolver_)))
          << " <span class=tag>crashed</span></summary>\n";
  WriteFrames(report_.crash_frames, headline.handler_frames);
  output_ << "</details>\n";
  WriteThreads();
  WriteImages();
  if (!report_.custom_info.empty()) {
    output_ << "<h2>Words of the host</h2>\n<pre>" << ForHtml(report_.custom_info) << "</pre>\n";
  }
  output_ << "<script>" << kPageScript << "</script>\n</body></html>\n";
}

}  // namespace

void RenderHtml(const Headline& headline, Resolver* resolver, const std::string& title,
                Output* output) {
  HtmlPage(resolver, output).Write(headline, title);
}

}  // namespace oru_report
