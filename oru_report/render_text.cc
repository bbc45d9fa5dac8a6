#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "oru_report/escape.h"
#include "oru_report/frame_view.h"
#include "oru_report/render.h"

namespace oru_report {
namespace {

// ANSI colours, or nothing at all.
struct Palette {
  const char* title = "";
  const char* crash = "";
  const char* function = "";
  const char* place = "";
  const char* dim = "";
  const char* end = "";
};

Palette MakePalette(bool color) {
  if (!color) return {};
  return {"\x1b[1m", "\x1b[1;31m", "\x1b[1;36m", "\x1b[32m", "\x1b[2m", "\x1b[0m"};
}

std::string Title(const Palette& palette, const std::string& text) {
  return std::string(palette.title) + ForTerminal(text) + palette.end + "\n";
}

std::string FrameLine(const Palette& palette, const FrameView& view) {
  const size_t padding = view.number.size() < 4 ? 4 - view.number.size() : 1;
  std::string line = "  " + view.number + std::string(padding, ' ') + palette.function +
                     ForTerminal(view.function) + palette.end;
  if (!view.place.empty()) {
    line += std::string("\n      ") + palette.place + "at " + ForTerminal(view.place) + palette.end;
  }
  if (!view.image.empty()) {
    line += std::string("\n      ") + palette.dim + "in " + ForTerminal(view.image) + "  " +
            view.address + palette.end;
  }
  return line + "\n";
}

std::string Frames(const Report& report, const std::vector<Frame>& frames, SourceLookup* sources,
                   const Palette& palette) {
  std::string text;
  for (size_t i = 0; i < frames.size(); ++i) {
    text += FrameLine(palette, ViewFrame(report, frames[i], i, sources));
  }
  return text;
}

std::string ThreadTitle(const Thread& thread) {
  return "Thread " + std::to_string(thread.number) +
         (thread.name.empty() ? "" : "  " + thread.name);
}

std::string ImageLine(const Image& image, size_t name_width) {
  char range[64];
  snprintf(range, sizeof range, "  0x%012" PRIx64 " - 0x%012" PRIx64 "  ", image.start, image.end);
  const std::string name = ForTerminal(image.name);
  const size_t padding = name.size() < name_width ? name_width - name.size() : 0;
  return range + name + std::string(padding, ' ') + "  " + ForTerminal(image.uuid) + "  " +
         ForTerminal(image.path) + "\n";
}

std::string Images(const Report& report) {
  size_t width = 0;
  for (const Image& image : report.images) {
    width = std::max(width, std::min<size_t>(ForTerminal(image.name).size(), 40));
  }
  std::string text;
  for (const Image& image : report.images) text += ImageLine(image, width);
  return text;
}

// Line by line, because line ends are the only control characters that a terminal may see.
std::string CustomInfo(const std::string& info) {
  std::string text;
  for (size_t start = 0; start < info.size();) {
    const size_t end = std::min(info.find('\n', start), info.size());
    text += ForTerminal(info.substr(start, end - start)) + "\n";
    start = end + 1;
  }
  return text;
}

}  // namespace

std::string RenderText(const Report& report, SourceLookup* sources, bool color) {
  const Palette palette = MakePalette(color);
  std::string text;
  for (const auto& [label, value] : report.header) {
    const size_t padding = label.size() < 18 ? 18 - label.size() : 1;
    text += ForTerminal(label) + ":" + std::string(padding, ' ') + ForTerminal(value) + "\n";
  }
  if (!report.exception.empty()) {
    text += "\n" + std::string(palette.crash) + ForTerminal(report.exception) + palette.end + "\n";
  }
  text += "\n" + std::string(palette.crash) + "Crashed here" + palette.end + "\n" +
          Frames(report, report.crash_frames, sources, palette);
  const Thread* crashed = report.CrashThread();
  if (crashed != nullptr) {
    text += "\n" + Title(palette, ThreadTitle(*crashed) + "  (crashed)") +
            Frames(report, crashed->frames, sources, palette);
  }
  for (const Thread& thread : report.threads) {
    if (&thread == crashed) continue;
    text += "\n" + Title(palette, ThreadTitle(thread)) +
            Frames(report, thread.frames, sources, palette);
  }
  for (const std::string& note : report.thread_notes) text += "\n" + ForTerminal(note) + "\n";
  text += "\n" + Title(palette, "Images (" + std::to_string(report.images.size()) + ")") +
          Images(report);
  if (!report.custom_info.empty()) {
    text += "\n" + Title(palette, "The host's own words");
    text += CustomInfo(report.custom_info);
  }
  return text;
}

}  // namespace oru_report
