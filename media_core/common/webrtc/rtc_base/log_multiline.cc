#include "media_core/common/webrtc/rtc_base/log_multiline.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "media_core/common/webrtc/rtc_base/log_message.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace rtc {
namespace {

// Where these lines say they come from; readers of logs know them by it.
constexpr char kSourceFile[] = "logging.cc";
enum SourceLine : int {
  kFlushLine = 570,
  kHexLine = 596,
  kCountLine = 650,
  kTextLine = 665,
  kPrivacyLine = 667,
};

constexpr size_t kBytesPerLine = 24;
constexpr size_t kBytesPerGroup = 4;
constexpr size_t kHexColumnWidth = kBytesPerLine * 2 + kBytesPerLine / kBytesPerGroup;

bool IsPrintable(char c) { return c >= 0x20 && c <= 0x7E; }

// Among the unprintable ones; the newline is not asked about.
bool IsSpace(char c) { return c == '\t' || c == '\v' || c == '\f' || c == '\r'; }

class Dump {
 public:
  Dump(LoggingSeverity sev, const char* label, bool input)
      : sev_(sev),
        prefix_(std::string(label == nullptr ? "" : label) + (input ? " << " : " >> ")) {}

  void Log(SourceLine line, std::string_view text) const {
    LogMessage(kSourceFile, line, sev_).stream() << prefix_ << text;
  }

  void LogCount(SourceLine line, size_t count) const {
    Log(line, "## " + std::to_string(count) + " consecutive unprintable ##");
  }

  void LogHex(std::string_view data) const {
    for (; !data.empty(); data.remove_prefix(std::min(data.size(), kBytesPerLine))) {
      LogHexLine(data.substr(0, kBytesPerLine));
    }
  }

  // Logs the lines of `data`; `count` is the number of unprintable bytes not reported yet.
  void LogText(std::string_view data, size_t* count) const {
    while (!data.empty()) {
      const size_t newline = data.find('\n');
      LogTextLine(data.substr(0, newline), count);
      data.remove_prefix(newline == std::string_view::npos ? data.size() : newline + 1);
    }
  }

 private:
  void LogHexLine(std::string_view bytes) const {
    std::string ascii(kBytesPerLine, ' ');
    std::string hex(kHexColumnWidth, ' ');
    size_t column = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
      const auto byte = static_cast<unsigned char>(bytes[i]);
      ascii[i] = IsPrintable(bytes[i]) ? bytes[i] : '.';
      hex[column++] = hex_encode(static_cast<unsigned char>(byte >> 4));
      hex[column++] = hex_encode(static_cast<unsigned char>(byte & 0xF));
      column += (i + 1) % kBytesPerGroup == 0 ? 1 : 0;
    }
    Log(kHexLine, ascii + " " + hex + " ");
  }

  void LogTextLine(std::string_view line, size_t* count) const {
    std::string shown;
    for (const char c : line) {
      if (IsPrintable(c)) {
        ReportUnprintable(count);
        shown.push_back(c);
      } else if (IsSpace(c)) {
        shown.push_back(c);
      } else {
        ++*count;
      }
    }
    if (shown.empty() && !line.empty()) {
      return;
    }
    const bool is_private =
        shown.find("Email") != std::string::npos || shown.find("Passwd") != std::string::npos;
    if (is_private) {
      Log(kPrivacyLine, "## omitted for privacy ##");
    } else {
      Log(kTextLine, shown);
    }
  }

  void ReportUnprintable(size_t* count) const {
    if (*count != 0) {
      LogCount(kCountLine, *count);
      *count = 0;
    }
  }

  const LoggingSeverity sev_;
  const std::string prefix_;
};

}  // namespace

void LogMultiline(LoggingSeverity sev, const char* label, bool input, const void* data, size_t len,
                  bool hex_mode, LogMultilineState* state) {
  if (!LogMessage::Loggable(sev)) {
    return;
  }
  const Dump dump(sev, label, input);
  size_t own_count = 0;
  size_t* const count = state == nullptr ? &own_count : &state->unprintable_count[input ? 1 : 0];
  if (data == nullptr) {
    if (*count != 0) {
      dump.LogCount(kFlushLine, *count);
      *count = 0;
    }
    return;
  }
  const std::string_view bytes(static_cast<const char*>(data), len);
  if (hex_mode) {
    dump.LogHex(bytes);
  } else {
    dump.LogText(bytes, count);
  }
}

}  // namespace rtc
