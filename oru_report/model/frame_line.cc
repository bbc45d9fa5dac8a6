#include "oru_report/model/frame_line.h"

#include <algorithm>

#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

uint32_t PlaceIn(std::string_view line, std::string_view part) {
  return static_cast<uint32_t>(part.data() - line.data());
}

void SetImage(std::string_view image, Frame* frame) {
  frame->image_at = PlaceIn(frame->text, image);
  frame->image_size = static_cast<uint32_t>(image.size());
}

void SetSymbol(std::string_view symbol, Frame* frame) {
  frame->symbol_at = PlaceIn(frame->text, symbol);
  frame->symbol_size = static_cast<uint32_t>(symbol.size());
}

// "symbol + 12" behind an address.
void ReadSymbol(std::string_view text, Frame* frame) {
  const size_t plus = text.rfind(" + ");
  const std::string_view symbol = Trim(text.substr(0, plus));
  if (plus != std::string_view::npos) frame->offset = LeadingNumber(text.substr(plus + 3), 10);
  // A nameless frame prints its image's base in the symbol's place.
  if (!StartsWith(symbol, "0x")) SetSymbol(symbol, frame);
}

// "/path/image(symbol+0xc) [0x7f0012345678]"
bool ParseBracketForm(Frame* frame) {
  const std::string_view line = frame->text;
  const size_t open = line.rfind(" [0x");
  if (open == std::string_view::npos || line.back() != ']') return false;
  const size_t paren = line.rfind('(', open);
  size_t at = open + 2;
  if (!ReadHex(line, &at, &frame->address)) return false;
  SetImage(LastPathEntry(line.substr(0, std::min(paren, open))), frame);
  if (paren == std::string_view::npos) return true;
  const size_t close = line.find(')', paren);
  const std::string_view inside = line.substr(paren + 1, close - paren - 1);
  const size_t plus = inside.rfind('+');
  SetSymbol(inside.substr(0, plus), frame);
  if (plus == std::string_view::npos) return true;
  const std::string_view offset = inside.substr(plus + 1);
  frame->offset = LeadingNumber(StartsWith(offset, "0x") ? offset.substr(2) : offset, 16);
  return true;
}

// "image   0x00007f0012345678 symbol + 12", with or without a frame number in front
bool ParseColumnForm(Frame* frame) {
  const std::string_view line = frame->text;
  size_t at = line.find(" 0x");
  // An image without a name has its base, "0x...", in the first column.
  if (at == std::string_view::npos) return false;
  std::string_view image = Trim(line.substr(0, at));
  ++at;
  if (!ReadHex(line, &at, &frame->address)) return false;
  const size_t digits = image.find_first_not_of("0123456789");
  if (digits != std::string_view::npos && digits > 0 && image[digits] == ' ') {
    image = Trim(image.substr(digits));
  }
  SetImage(image, frame);
  if (at < line.size()) ReadSymbol(line.substr(at + 1), frame);
  return true;
}

}  // namespace

Frame ParseFrame(std::string_view line) {
  Frame frame;
  frame.text = line;
  const bool readable = !line.empty() && line.size() <= kMaxParsedLine;
  frame.parsed = readable && (ParseBracketForm(&frame) || ParseColumnForm(&frame));
  if (!frame.parsed) frame = Frame();
  frame.text = line;
  return frame;
}

}  // namespace oru_report
