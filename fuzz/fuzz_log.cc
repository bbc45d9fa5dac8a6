// Log lines from the configuration string and the message's parts to the sinks.
#include <unistd.h>

#include <cstring>
#include <iomanip>
#include <memory>
#include <sstream>

#include "fuzz/fuzz_support.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "tests/rtc_base/log_capture.h"

using oru_fuzz::Require;
using oru_test::CollectingSink;
using rtc::LoggingSeverity;
using rtc::LogMessage;

namespace {

LoggingSeverity Severity(uint8_t byte) { return static_cast<LoggingSeverity>(byte % 7); }

// A string that a caller hands over with its terminating zero.
std::string Terminated(const std::string& text) { return text.substr(0, text.find('\0')); }

bool HasWord(const std::string& words, const std::string& word) {
  for (const std::string& found : oru_test::PiecesOf(words, ' ', false)) {
    if (found == word) return true;
  }
  return false;
}

// The thresholds and the sinks behind them, set up for one input and taken down again.
class Outputs {
 public:
  explicit Outputs(oru_fuzz::Input* input) {
    debug_ = Severity(input->Byte());
    LogMessage::LogToDebug(debug_);
    for (size_t count = input->Byte() % 4; count > 0; --count) Add(input);
    CheckThresholds();
  }
  ~Outputs() {
    for (const auto& one : sinks_) LogMessage::RemoveLogToStream(one.sink.get());
    LogMessage::LogToDebug(rtc::LS_NONE);
    Require(LogMessage::min_sev() == rtc::LS_NONE, "nothing is loggable without outputs");
  }
  Outputs(const Outputs&) = delete;
  Outputs& operator=(const Outputs&) = delete;

  void CheckThresholds() {
    const LoggingSeverity last = sinks_.empty() ? rtc::LS_NONE : sinks_.back().threshold;
    Require(LogMessage::min_sev() == std::min(debug_, last), "min_sev");
    Require(LogMessage::dbg_sev() == debug_, "dbg_sev");
    LoggingSeverity lowest = rtc::LS_NONE;
    for (const auto& one : sinks_) {
      lowest = std::min(lowest, one.threshold);
      Require(LogMessage::GetLogToStream(one.sink.get()) == one.threshold, "threshold of a sink");
    }
    Require(LogMessage::GetLogToStream() == lowest, "lowest threshold");
  }

  // Every sink got `line`, if it was for it, and nothing else.
  void CheckLine(const std::string& line, LoggingSeverity severity, int sink_id) {
    for (const auto& one : sinks_) {
      const bool addressed = sink_id == 0 || sink_id == one.sink->sink_id();
      const bool wanted = addressed && severity < rtc::LS_NONE && severity >= one.threshold;
      std::vector<std::string>& lines = one.sink->lines;
      Require(lines.size() == (wanted ? 1 : 0), "number of lines in a sink");
      if (wanted) Require(WithoutTime(lines[0]) == line, "line");
      lines.clear();
    }
  }

 private:
  struct One {
    std::unique_ptr<CollectingSink> sink;
    LoggingSeverity threshold;
  };

  void Add(oru_fuzz::Input* input) {
    const uint8_t byte = input->Byte();
    auto sink = std::make_unique<CollectingSink>(byte / 7 % 4);
    LogMessage::AddLogToStream(sink.get(), Severity(byte));
    sinks_.push_back({std::move(sink), Severity(byte)});
  }

  // Takes the time off a line's front.
  static std::string WithoutTime(const std::string& line) {
    if (!LogMessage::timestamps_logged()) return line;
    const size_t colon = line.find_first_not_of("0123456789", 1);
    Require(line[0] == '[' && colon != std::string::npos && colon >= 4, "seconds");
    const size_t end = line.find_first_not_of("0123456789", colon + 1);
    Require(line[colon] == ':' && end == colon + 4, "milliseconds");
    Require(line.compare(end, 2, "] ") == 0, "end of the time");
    return line.substr(end + 2);
  }

  LoggingSeverity debug_;
  std::vector<One> sinks_;
};

std::string Prefix(const std::string* file, int line, LoggingSeverity severity) {
  static const char* const kNames[] = {"SENSITIVE", "V", "D", "I", "W", "E", "?"};
  std::string prefix;
  if (LogMessage::threads_logged()) {
    prefix = "[" + std::to_string(getpid()) + ":" + std::to_string(rtc::CurrentThreadId()) + "] ";
  }
  prefix += std::string("[") + kNames[severity] + "] ";
  if (file == nullptr) return prefix;
  const std::string name = file->substr(file->find_last_of("/\\") + 1);
  return prefix + "(" + name + ":" + std::to_string(line) + "): ";
}

// Streams the same things into any stream.
template <class Stream>
void Write(oru_fuzz::Input input, Stream* stream) {
  for (size_t i = 0; i < 16 && !input.empty(); ++i) {
    switch (input.Byte() % 10) {
      case 0:
        *stream << input.Text(input.Byte());
        break;
      case 1:
        *stream << Terminated(input.Text(input.Byte())).c_str();
        break;
      case 2:
        *stream << input.Char();
        break;
      case 3:
        *stream << static_cast<int>(input.Size()) - 32768;
        break;
      case 4:
        *stream << static_cast<uint64_t>(input.Size()) * 0x123456789ABULL;
        break;
      case 5:
        *stream << std::hex << std::showbase;
        break;
      case 6:
        *stream << std::setw(input.Byte() % 32) << std::setfill(input.Char());
        break;
      case 7:
        *stream << (input.Byte() % 2 != 0) << std::boolalpha;
        break;
      case 8:
        *stream << static_cast<double>(input.Size()) / 64 << std::left;
        break;
      default:
        *stream << static_cast<short>(input.Size()) << static_cast<const void*>(nullptr);
        break;
    }
  }
}

std::string Streamed(const oru_fuzz::Input& input) {
  std::ostringstream stream;
  Write(input, &stream);
  return stream.str();
}

std::string ErrorText(rtc::LogErrorContext context, int error) {
  if (context == rtc::ERRCTX_NONE) return "";
  char number[32];
  snprintf(number, sizeof(number), " : [0x%08x]", static_cast<unsigned>(error));
  if (context == rtc::ERRCTX_ERRNO) return std::string(number) + " " + strerror(error);
  const std::string text = rtc::DescriptionFromOSStatus(error);
  return std::string(number) + " " + (text.empty() ? "Unknown error" : text);
}

struct Place {
  std::string file;
  int line;
};

void CheckPlain(oru_fuzz::Input* input, LoggingSeverity severity, const Place& place,
                Outputs* outputs) {
  static constexpr rtc::LogErrorContext kContexts[] = {rtc::ERRCTX_NONE, rtc::ERRCTX_ERRNO,
                                                       rtc::ERRCTX_OSSTATUS};
  const rtc::LogErrorContext context = kContexts[input->Byte() % 3];
  const int error = static_cast<int>(input->Size()) - 1000;
  const int sink_id = input->Byte() % 4;
  const bool with_file = input->Byte() % 8 != 0;
  const char* file = with_file ? place.file.c_str() : nullptr;
  {
    LogMessage message(file, place.line, severity, context, error, nullptr, sink_id);
    Write(*input, &message.stream());
  }
  const std::string prefix = Prefix(with_file ? &place.file : nullptr, place.line, severity);
  outputs->CheckLine(prefix + Streamed(*input) + ErrorText(context, error) + "\n", severity,
                     sink_id);
}

void CheckTagged(oru_fuzz::Input* input, LoggingSeverity severity, const Place& place,
                 Outputs* outputs) {
  const int sink_id = input->Byte() % 4;
  const std::string tag = input->Text(input->Byte() % 8);
  const std::string subtag = input->Text(input->Byte() % 4);
  {
    LogMessage message(place.file.c_str(), place.line, severity, tag, subtag, sink_id);
    Write(*input, &message.stream());
  }
  const std::string whole = tag + (subtag.empty() ? "" : "_" + subtag) + ": ";
  outputs->CheckLine(Prefix(&place.file, place.line, severity) + whole + Streamed(*input) + "\n",
                     severity, sink_id);
}

void CheckBare(const oru_fuzz::Input& input, LoggingSeverity severity, Outputs* outputs) {
  {
    LogMessage message(severity);
    Write(input, &message.stream());
  }
  std::string prefix;
  if (LogMessage::threads_logged()) {
    prefix = "[" + std::to_string(rtc::CurrentThreadId()) + "] ";
  }
  // A bare line has no time.
  LogMessage::LogTimestamps(false);
  outputs->CheckLine(prefix + Streamed(input) + "\n", severity, 0);
}

void CheckFormatted(oru_fuzz::Input* input, LoggingSeverity severity, Outputs* outputs) {
  std::string text;
  const size_t copies = input->Byte() % 8;
  const std::string piece = Terminated(input->Rest());
  for (size_t i = 0; i < copies; ++i) text += piece;
  rtc::ALOG(severity, "%s", text.c_str());
  if (severity < rtc::LS_VERBOSE || !LogMessage::Loggable(severity)) severity = rtc::LS_NONE;
  text.resize(std::min<size_t>(text.size(), 4088));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  const std::string file = "logging.cc";
  const std::string prefix = Prefix(&file, 693 + 3 * (severity - rtc::LS_VERBOSE), severity);
  outputs->CheckLine(prefix + text + "\n\n", severity, 0);
}

void CheckConfiguration(const std::string& words) {
  LogMessage::LogTimestamps(false);
  LogMessage::LogThreads(false);
  const LoggingSeverity before = LogMessage::min_sev();
  LogMessage::ConfigureLogging(words.c_str());
  Require(LogMessage::timestamps_logged() == HasWord(words, "tstamp"), "tstamp");
  Require(LogMessage::threads_logged() == HasWord(words, "thread"), "thread");
  Require(LogMessage::min_sev() == before, "words change no threshold");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Lines pass standard error's threshold and are not printed.
  LogMessage::SetLogToStderr(false);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const std::string words = Terminated(input.Text(input.Byte() % 40));
  Outputs outputs(&input);
  CheckConfiguration(words);
  outputs.CheckThresholds();

  const uint8_t kind = input.Byte();
  const LoggingSeverity severity = Severity(input.Byte());
  const Place place = {Terminated(input.Text(input.Byte() % 16)),
                       static_cast<int>(input.Size()) - 1000};
  switch (kind % 4) {
    case 0:
      CheckPlain(&input, severity, place, &outputs);
      break;
    case 1:
      CheckTagged(&input, severity, place, &outputs);
      break;
    case 2:
      CheckBare(input, severity, &outputs);
      break;
    default:
      CheckFormatted(&input, severity, &outputs);
      break;
  }
  return 0;
}
