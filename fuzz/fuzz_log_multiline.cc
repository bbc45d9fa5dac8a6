// Dumps of buffers into the log, over several calls with one state.
#include "fuzz/fuzz_support.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "tests/rtc_base/log_capture.h"

using oru_fuzz::Require;
using Lines = std::vector<std::string>;

namespace {

bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

std::string LineOf(int number, const std::string& text) {
  return "[W] (logging.cc:" + std::to_string(number) + "): " + text + "\n";
}

std::string CountLine(int number, const std::string& prefix, size_t count) {
  return LineOf(number, prefix + "## " + std::to_string(count) + " consecutive unprintable ##");
}

Lines HexLines(const std::string& prefix, const std::string& data) {
  Lines lines;
  for (size_t start = 0; start < data.size(); start += 24) {
    const std::string piece = data.substr(start, 24);
    std::string characters;
    for (const char c : piece) characters += IsPrintable(c) ? c : '.';
    std::string digits;
    for (size_t i = 0; i < piece.size(); i += 4) {
      digits += oru_test::HexOf(piece.substr(i, 4), '\0') + " ";
    }
    characters.resize(24, ' ');
    digits.resize(54, ' ');
    lines.push_back(LineOf(596, prefix + characters + " " + digits + " "));
  }
  return lines;
}

Lines TextLines(const std::string& prefix, const std::string& data, size_t* count) {
  Lines lines;
  Lines parts = oru_test::PiecesOf(data, '\n', true);
  // What follows the last newline is a line only when there is something.
  if (parts.back().empty()) parts.pop_back();
  for (const std::string& part : parts) {
    std::string shown;
    for (const char c : part) {
      const bool space = c == '\t' || c == '\v' || c == '\f' || c == '\r';
      if (!IsPrintable(c) && !space) {
        ++*count;
        continue;
      }
      if (!space && *count > 0) {
        lines.push_back(CountLine(650, prefix, *count));
        *count = 0;
      }
      shown += c;
    }
    if (shown.empty() && !part.empty()) continue;
    const bool secret =
        shown.find("Email") != std::string::npos || shown.find("Passwd") != std::string::npos;
    const int number = secret ? 667 : 665;
    lines.push_back(LineOf(number, prefix + (secret ? "## omitted for privacy ##" : shown)));
  }
  return lines;
}

struct Call {
  bool input;
  bool hex;
  bool with_state;
  bool end;
};

Lines Expected(const Call& call, const std::string& label, const std::string& data,
               size_t (&counts)[2]) {
  const std::string prefix = label + (call.input ? " << " : " >> ");
  size_t own = 0;
  size_t* const count = call.with_state ? &counts[call.input ? 1 : 0] : &own;
  if (!call.end) return call.hex ? HexLines(prefix, data) : TextLines(prefix, data, count);
  if (*count == 0) return {};
  const size_t reported = *count;
  *count = 0;
  return {CountLine(570, prefix, reported)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  std::string label = input.Text(input.Byte() % 8);
  label = label.substr(0, label.find('\0'));
  rtc::LogMultilineState state;
  size_t counts[2] = {0, 0};
  for (size_t i = 0; i < 8 && !input.empty(); ++i) {
    const uint8_t choice = input.Byte();
    const Call call = {(choice & 1) != 0, (choice & 2) != 0, (choice & 4) == 0, (choice & 56) == 8};
    const std::string bytes = input.Text((choice & 64) != 0 ? input.Size() : input.Byte());
    const oru_test::LogCapture capture;
    rtc::LogMultiline(rtc::LS_WARNING, label.c_str(), call.input, call.end ? nullptr : bytes.data(),
                      bytes.size(), call.hex, call.with_state ? &state : nullptr);
    Require(capture.lines() == Expected(call, label, bytes, counts), "lines of a dump");
    Require(state.unprintable_count[0] == counts[0], "count of what was sent");
    Require(state.unprintable_count[1] == counts[1], "count of what came in");
  }
  return 0;
}
