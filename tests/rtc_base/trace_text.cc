#include "tests/rtc_base/trace_text.h"

#include <gtest/gtest.h>

#include <charconv>

#include "tests/support/child_process.h"

namespace oru_test {
namespace {

constexpr std::string_view kOwnPrefix = "EventLogger::";
constexpr std::string_view kLost = "EventLogger::Lost";

// Takes pieces off the front of a line.
class Scanner {
 public:
  explicit Scanner(std::string_view line) : rest_(line) {}

  bool ok() const { return ok_; }
  bool AtEnd() const { return rest_.empty(); }

  void Expect(std::string_view text) {
    ok_ = ok_ && rest_.substr(0, text.size()) == text;
    if (ok_) rest_.remove_prefix(text.size());
  }
  std::string_view Until(std::string_view end) {
    const size_t place = rest_.find(end);
    ok_ = ok_ && place != std::string_view::npos;
    if (!ok_) return {};
    const std::string_view text = rest_.substr(0, place);
    rest_.remove_prefix(place + end.size());
    return text;
  }
  uint64_t Number() {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    ok_ = ok_ && error == std::errc();
    if (ok_) rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return value;
  }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

bool ParseEvent(std::string_view line, bool is_first, TraceTextEvent* event) {
  Scanner scanner(line);
  scanner.Expect(is_first ? " { \"name\": \"" : ",{ \"name\": \"");
  event->name = scanner.Until("\", \"cat\": \"");
  event->category = scanner.Until("\", \"ph\": \"");
  const std::string_view phase = scanner.Until("\", \"ts\": ");
  event->time = scanner.Number();
  scanner.Expect(", \"pid\": 1, \"tid\": ");
  scanner.Number();
  if (!scanner.ok() || phase.size() != 1) return false;
  event->phase = phase[0];
  Scanner end = scanner;
  end.Expect("}");
  if (end.ok() && end.AtEnd()) return true;
  scanner.Expect(", \"args\": { ");
  event->args = scanner.Until(" }}");
  return scanner.ok() && scanner.AtEnd();
}

}  // namespace

uint64_t TraceTextEvent::Number(std::string_view arg) const {
  Scanner scanner(args);
  scanner.Until("\"" + std::string(arg) + "\": ");
  const uint64_t number = scanner.Number();
  EXPECT_TRUE(scanner.ok()) << arg << " in " << args;
  return scanner.ok() ? number : 0;
}

uint64_t TraceText::Lost() const {
  uint64_t sum = 0;
  for (const TraceTextEvent& event : events) {
    if (event.name == kLost) sum += event.Number("events");
  }
  return sum;
}

std::vector<TraceTextEvent> TraceText::Others() const {
  std::vector<TraceTextEvent> others;
  for (const TraceTextEvent& event : events) {
    if (event.name.substr(0, kOwnPrefix.size()) != kOwnPrefix) others.push_back(event);
  }
  return others;
}

TraceText ReadTrace(std::string_view text) {
  TraceText trace;
  size_t number = 0;
  while (!text.empty() && trace.error.empty()) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) {
      trace.cut = text;
      break;
    }
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    ++number;
    TraceTextEvent event;
    if (number == 1 ? line == "{ \"traceEvents\": [" : line == "]}" && text.empty()) {
      trace.ended = number != 1;
    } else if (number > 1 && ParseEvent(line, trace.events.empty(), &event)) {
      trace.events.push_back(event);
    } else {
      trace.error = "line " + std::to_string(number) + ": " + std::string(line.substr(0, 300));
    }
  }
  return trace;
}

std::string JsonError(const std::string& path) {
  const ChildResult child = RunChild(
      {"/usr/bin/python3", "-c",
       "import json, sys; assert list(json.load(open(sys.argv[1]))) == ['traceEvents']", path});
  return child.exit_code == 0 ? "" : child.err + child.Ending();
}

}  // namespace oru_test
