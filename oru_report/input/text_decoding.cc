#include "oru_report/input/text_decoding.h"

#include <algorithm>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

enum class Form { kUtf8, kUtf16Little, kUtf16Big };

Form FormOf(std::string_view bytes, size_t* mark) {
  *mark = 0;
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") *mark = 3;
  if (*mark != 0 || bytes.size() < 2) return Form::kUtf8;
  const auto first = static_cast<unsigned char>(bytes[0]);
  const auto second = static_cast<unsigned char>(bytes[1]);
  const bool little = first == 0xFF && second == 0xFE;
  const bool big = first == 0xFE && second == 0xFF;
  if (little || big) *mark = 2;
  if (little || (first != 0 && first < 0x80 && second == 0)) return Form::kUtf16Little;
  if (big || (first == 0 && second != 0 && second < 0x80)) return Form::kUtf16Big;
  return Form::kUtf8;
}

// An odd byte at the end is left out: the file was cut there.
std::string FromUtf16(std::string_view bytes, bool big) {
  std::string text;
  text.reserve(bytes.size() / 2);
  const auto unit_at = [&](size_t at) -> unsigned long {
    const auto a = static_cast<unsigned char>(bytes[at]);
    const auto b = static_cast<unsigned char>(bytes[at + 1]);
    return big ? a * 256UL + b : b * 256UL + a;
  };
  for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
    unsigned long value = unit_at(at);
    if (value >= 0xD800 && value <= 0xDBFF && at + 3 < bytes.size()) {
      const unsigned long low = unit_at(at + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
        at += 2;
      }
    }
    if (value >= 0xD800 && value <= 0xDFFF) value = 0xFFFD;
    char encoded[4];
    text.append(encoded, rtc::utf8_encode(encoded, sizeof encoded, value));
  }
  return text;
}

void EndLinesWithLf(std::string* text) {
  const size_t first = text->find('\n');
  // Lines of CR alone.
  if (first == std::string::npos) std::replace(text->begin(), text->end(), '\r', '\n');
  if (first == std::string::npos || first == 0 || (*text)[first - 1] != '\r') return;
  size_t kept = 0;
  for (const char c : *text) {
    // Programs that convert twice put two in front.
    while (c == '\n' && kept > 0 && (*text)[kept - 1] == '\r') --kept;
    (*text)[kept++] = c;
  }
  text->resize(kept);
}

}  // namespace

std::string PlainText(std::string bytes) {
  size_t mark = 0;
  const Form form = FormOf(bytes, &mark);
  if (form != Form::kUtf8) {
    bytes = FromUtf16(std::string_view(bytes).substr(mark), form == Form::kUtf16Big);
  } else if (mark != 0) {
    bytes.erase(0, mark);
  }
  EndLinesWithLf(&bytes);
  return bytes;
}

bool BeginsLikeReport(std::string_view bytes) {
  constexpr std::string_view kBeginning = "Harware Model:";
  const std::string text = PlainText(std::string(bytes.substr(0, kBeginningBytes)));
  const std::string_view start = std::string_view(text).substr(0, kBeginning.size());
  if (!start.empty() && StartsWith(kBeginning, start)) return true;
  return Contains(text, "\n" + std::string(kBeginning));
}

}  // namespace oru_report
