#include "oru_report/frame_view.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <vector>

#include "oru_report/demangle.h"

namespace oru_report {
namespace {

std::string Hex(uint64_t value, const char* format) {
  char text[32];
  snprintf(text, sizeof text, format, value);
  return text;
}

// A nameless frame is told by its distance from the image's start: what symbolising tools ask for.
std::string UnnamedFrame(const Report& report, const Frame& frame) {
  const Image* image = report.ImageOf(frame.address);
  if (image == nullptr) return "?";
  return image->name + Hex(frame.address - image->start, " + 0x%" PRIx64);
}

}  // namespace

std::string ShortPath(const std::string& path) {
  std::vector<std::string> kept;
  const bool absolute = !path.empty() && path[0] == '/';
  for (size_t start = 0; start <= path.size();) {
    const size_t end = std::min(path.find('/', start), path.size());
    const std::string part = path.substr(start, end - start);
    start = end + 1;
    if (part.empty() || part == ".") continue;
    if (part == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else if (part != ".." || !absolute) {
      kept.push_back(part);
    }
  }
  std::string text;
  for (const std::string& part : kept) text += (text.empty() && !absolute ? "" : "/") + part;
  return text;
}

FrameView ViewFrame(const Report& report, const Frame& frame, size_t index, SourceLookup* sources) {
  FrameView view;
  view.number = "#" + std::to_string(index);
  if (!frame.parsed) {
    view.function = frame.text;
    return view;
  }
  view.image = frame.image;
  view.address = Hex(frame.address, "0x%016" PRIx64);
  SourcePlace place;
  if (sources != nullptr && sources->Find(frame.address, index != 0, &place) && place.line > 0) {
    view.place = ShortPath(place.file) + ":" + std::to_string(place.line);
  }
  if (!frame.symbol.empty()) {
    view.function = Demangle(frame.symbol) + " + " + std::to_string(frame.offset);
  } else if (!place.function.empty()) {
    view.function = Demangle(place.function);
  } else {
    view.function = UnnamedFrame(report, frame);
  }
  return view;
}

}  // namespace oru_report
