#include <cinttypes>
#include <cstdio>

#include "oru_report/escape.h"
#include "oru_report/frame_view.h"
#include "oru_report/page_assets.h"
#include "oru_report/render.h"

namespace oru_report {
namespace {

constexpr char kNone[] = "<p class=none>none</p>\n";

std::string Heading(const char* text, size_t count) {
  return "<h2>" + std::string(text) + " <span class=count>" + std::to_string(count) +
         "</span></h2>\n";
}

std::string FrameRow(const FrameView& view) {
  std::string row = "<li><code class=fn>" + ForHtml(view.function) + "</code>";
  if (!view.place.empty()) row += "<span class=place>" + ForHtml(view.place) + "</span>";
  if (!view.image.empty()) {
    row += "<span class=where>" + ForHtml(view.image) + " <code>" + view.address + "</code></span>";
  }
  return row + "</li>\n";
}

std::string Frames(const Report& report, const std::vector<Frame>& frames, SourceLookup* sources) {
  if (frames.empty()) return "<p class=none>no frames</p>\n";
  std::string html = "<ol start=0>\n";
  for (size_t i = 0; i < frames.size(); ++i) {
    html += FrameRow(ViewFrame(report, frames[i], i, sources));
  }
  return html + "</ol>\n";
}

std::string ThreadBlock(const Report& report, const Thread& thread, bool crashed,
                        SourceLookup* sources) {
  std::string html = crashed ? "<details class=crashed open>" : "<details>";
  html += "<summary>Thread " + std::to_string(thread.number);
  if (!thread.name.empty()) html += " <b>" + ForHtml(thread.name) + "</b>";
  if (crashed) html += " <span class=tag>crashed</span>";
  if (!thread.frames.empty()) {
    html += " <span class=top>" +
            ForHtml(ViewFrame(report, thread.frames[0], 0, nullptr).function) + "</span>";
  }
  return html + "</summary>\n" + Frames(report, thread.frames, sources) + "</details>\n";
}

std::string ImageRow(const Image& image) {
  char range[64];
  snprintf(range, sizeof range, "0x%012" PRIx64 "&nbsp;–&nbsp;0x%012" PRIx64, image.start,
           image.end);
  return "<tr><td><b>" + ForHtml(image.name) + "</b></td><td><code>" + range +
         "</code></td><td><code>" + ForHtml(image.uuid) + "</code></td><td class=path>" +
         ForHtml(image.path) + "</td></tr>\n";
}

std::string Header(const Report& report) {
  std::string html = "<dl>\n";
  for (const auto& [label, value] : report.header) {
    html += "<dt>" + ForHtml(label) + "</dt><dd>" +
            (value.empty() ? "<span class=none>none</span>" : ForHtml(value)) + "</dd>\n";
  }
  return html + "</dl>\n";
}

std::string Threads(const Report& report, SourceLookup* sources) {
  const Thread* crashed = report.CrashThread();
  std::string html = Heading("Threads", report.threads.size());
  html += report.threads.empty() ? kNone : "<p><button id=fold>Unfold all</button></p>\n";
  if (crashed != nullptr) html += ThreadBlock(report, *crashed, true, sources);
  for (const Thread& thread : report.threads) {
    if (&thread != crashed) html += ThreadBlock(report, thread, false, sources);
  }
  for (const std::string& note : report.thread_notes) html += "<p>" + ForHtml(note) + "</p>\n";
  return html;
}

std::string Images(const Report& report) {
  std::string html = Heading("Images", report.images.size());
  if (report.images.empty()) return html + kNone;
  html +=
      "<p><input id=search type=search placeholder=\"Name, path, UUID or address\" "
      "aria-label=\"Search images\"> <span id=found role=status></span></p>\n"
      "<div class=wide><table id=images>\n<thead><tr><th>Name</th><th>Code</th><th>UUID</th>"
      "<th>Path</th></tr></thead>\n<tbody>\n";
  for (const Image& image : report.images) html += ImageRow(image);
  return html + "</tbody></table></div>\n";
}

}  // namespace

std::string RenderHtml(const Report& report, SourceLookup* sources, const std::string& title) {
  std::string html =
      "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8>\n"
      "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
      "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; "
      "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n<title>" +
      ForHtml(title) + "</title>\n<style>" + kPageStyle + "</style></head>\n<body>\n";
  html += "<h1>" + ForHtml(title) + "</h1>\n" + Header(report);
  if (!report.exception.empty()) {
    html += "<p class=exception>" + ForHtml(report.exception) + "</p>\n";
  }
  html += "<h2>Crashed here</h2>\n<div class=\"frames crashed\">" +
          Frames(report, report.crash_frames, sources) + "</div>\n";
  html += Threads(report, sources) + Images(report);
  if (!report.custom_info.empty()) {
    html += "<h2>The host's own words</h2>\n<pre>" + ForHtml(report.custom_info) + "</pre>\n";
  }
  return html + "<script>" + kPageScript + "</script>\n</body></html>\n";
}

}  // namespace oru_report
