// Trace events on their way from a mark to the file's text: queued, copied, written as JSON.
#include <cinttypes>
#include <cmath>
#include <cstring>
#include <deque>

#include "fuzz/fuzz_support.h"
#include "fuzz/json_reader.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"
#include "media_core/common/webrtc/rtc_base/trace_event_json.h"
#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

using oru_fuzz::Json;
using oru_fuzz::Require;
using rtc::tracing::TraceEventQueue;
using namespace webrtc::trace_event_internal;

namespace {

// An argument as it is marked, and as it has to be read in the file.
struct ExpectedArg {
  std::string name;
  Json::Kind kind;
  std::string text;
};

struct ExpectedEvent {
  std::string name;
  std::string category;
  std::string phase;
  std::string time;
  std::string thread;
  std::vector<ExpectedArg> args;
};

std::string Formatted(const char* format, double value) {
  char text[400];
  snprintf(text, sizeof(text), format, value);
  // Numbers are cut to what fits into their buffer.
  return std::string(text).substr(0, 31);
}

// Takes events out of the input and marks them.
class Marker {
 public:
  Marker(oru_fuzz::Input* input, TraceEventQueue* queue) : input_(*input), queue_(queue) {}

  void MarkOne() {
    ExpectedEvent expected;
    expected.name = Literal();
    expected.category = Literal();
    expected.phase = std::string(1, "BEI"[input_.Byte() % 3]);
    const uint64_t time = Number();
    const bool is_own = input_.Byte() % 4 == 0;
    const uint64_t order = is_own ? Number() : time;
    const uint8_t own_time = is_own ? rtc::tracing::TraceEvent::kOwnTime : 0;
    const auto thread = static_cast<uint32_t>(Number());
    expected.time = std::to_string(is_own ? time : time / 1000);
    expected.thread = std::to_string(static_cast<int32_t>(thread));

    const size_t count = input_.Byte() % 4;
    std::vector<const char*> names;
    std::vector<unsigned char> types;
    std::vector<unsigned long long> values;
    for (size_t i = 0; i < count; ++i) {
      ExpectedArg arg;
      arg.name = Literal();
      const ArgValue value = Value(&arg);
      names.push_back(Keep(arg.name));
      types.push_back(value.type);
      values.push_back(value.value);
      expected.args.push_back(arg);
    }
    const auto* category = reinterpret_cast<const unsigned char*>(Keep(expected.category));
    queue_->Append({{Keep(expected.name), category, order, thread, static_cast<uint16_t>(count),
                     expected.phase[0], own_time},
                    names.data(),
                    types.data(),
                    values.data(),
                    time});
    // What was to be copied may go now.
    for (std::string& text : copied_) std::fill(text.begin(), text.end(), '!');
    copied_.clear();
    events.push_back(expected);
  }

  std::deque<ExpectedEvent> events;

 private:
  uint64_t Number() {
    uint64_t number = 0;
    for (size_t bytes = input_.Byte() % 9; bytes > 0; --bytes)
      number = number * 256 + input_.Byte();
    return number;
  }

  // What source code holds: no quotes, backslashes and zeros. They are written as they are.
  std::string Literal() {
    std::string text = input_.Text(input_.Byte() % 8);
    for (char& c : text) {
      if (c == '"' || c == '\\' || c == '\0') c = '.';
    }
    return text;
  }

  // A string of anything but zeros; not empty, which arguments do not support.
  std::string Text() {
    std::string text = input_.Text(1 + input_.Byte());
    for (char& c : text) {
      if (c == '\0') c = '"';
    }
    return text.empty() ? "\\" : text;
  }

  const char* Keep(const std::string& text) {
    kept_.push_back(text);
    return kept_.back().c_str();
  }

  ArgValue Value(ExpectedArg* arg) {
    arg->kind = Json::kNumber;
    switch (input_.Byte() % 8) {
      case 0: {
        const bool value = input_.Byte() % 2 != 0;
        arg->kind = Json::kWord;
        arg->text = value ? "true" : "false";
        return MakeArg(value);
      }
      case 1: {
        const uint64_t value = Number();
        arg->text = std::to_string(value);
        return MakeArg(value);
      }
      case 2: {
        const auto value = static_cast<int64_t>(Number());
        arg->text = std::to_string(value);
        return MakeArg(value);
      }
      case 3:
        return Double(arg);
      case 4:
        return Pointer(arg);
      case 5: {
        arg->kind = Json::kString;
        arg->text = "(null)";
        const char* none = nullptr;
        return input_.Byte() % 2 != 0 ? MakeArg(none) : MakeArg(TraceStringWithCopy(none));
      }
      case 6:
        arg->kind = Json::kString;
        arg->text = Text();
        return MakeArg(Keep(arg->text));
      default:
        arg->kind = Json::kString;
        arg->text = Text();
        copied_.push_back(arg->text);
        return MakeArg(copied_.back());
    }
  }

  ArgValue Double(ExpectedArg* arg) {
    const uint64_t bits = Number();
    double value = 0;
    memcpy(&value, &bits, sizeof(value));
    if (!std::isfinite(value)) arg->kind = Json::kWord;
    arg->text = Formatted("%f", value);
    return MakeArg(value);
  }

  ArgValue Pointer(ExpectedArg* arg) {
    const uint64_t bits = Number();
    char text[40];
    snprintf(text, sizeof(text), "0x%" PRIx64, bits);
    arg->kind = Json::kString;
    arg->text = bits == 0 ? "(nil)" : text;
    return MakeArg(reinterpret_cast<const void*>(bits));
  }

  oru_fuzz::Input& input_;
  TraceEventQueue* const queue_;
  // Deques: what stands in them does not move.
  std::deque<std::string> kept_;
  std::deque<std::string> copied_;
};

void RequireText(const Json& event, const char* name, Json::Kind kind, const std::string& text) {
  const Json* value = event.Find(name);
  Require(value != nullptr && value->kind == kind, name);
  Require(value->text == text, name);
}

void CheckArgs(const Json* args, const std::vector<ExpectedArg>& expected) {
  Require((args == nullptr) == expected.empty(), "args are there");
  if (args == nullptr) return;
  Require(args->kind == Json::kObject && args->names.size() == expected.size(), "number of args");
  for (size_t i = 0; i < expected.size(); ++i) {
    Require(args->names[i] == expected[i].name, "name of an argument");
    Require(args->values[i].kind == expected[i].kind, "kind of an argument");
    Require(args->values[i].text == expected[i].text, "value of an argument");
  }
}

void CheckDocument(const std::string& text, const std::deque<ExpectedEvent>& expected) {
  Json document;
  Require(oru_fuzz::ReadJson(text, oru_fuzz::JsonRules::kTrace, &document), "a JSON document");
  const Json* events = document.Find("traceEvents");
  Require(events != nullptr && events->kind == Json::kArray, "array of events");
  Require(events->values.size() == expected.size(), "number of events");
  for (size_t i = 0; i < expected.size(); ++i) {
    const Json& event = events->values[i];
    RequireText(event, "name", Json::kString, expected[i].name);
    RequireText(event, "cat", Json::kString, expected[i].category);
    RequireText(event, "ph", Json::kString, expected[i].phase);
    RequireText(event, "ts", Json::kNumber, expected[i].time);
    RequireText(event, "pid", Json::kNumber, "1");
    RequireText(event, "tid", Json::kNumber, expected[i].thread);
    CheckArgs(event.Find("args"), expected[i].args);
    Require(event.names.size() == (expected[i].args.empty() ? 6 : 7), "nothing else");
  }
}

std::string Written(TraceEventQueue* queue, const std::string& header) {
  std::string text = header;
  bool first = true;
  rtc::tracing::TraceMerge events;
  queue->Read(&events);
  while (const rtc::tracing::TraceEvent* const event = events.Next()) {
    rtc::tracing::AppendTraceEventJson(&text, *event, first);
    first = false;
  }
  queue->Release();
  return text + rtc::tracing::kTraceFooter;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Kept from input to input, so that used memory is used again.
  static TraceEventQueue* const queue = new TraceEventQueue();
  oru_fuzz::Input input(data, size);
  const bool dropped = input.Byte() % 16 == 1;
  Marker marker(&input, queue);
  for (size_t i = 0; i < 64 && !input.empty(); ++i) marker.MarkOne();
  if (dropped) {
    queue->Clear();
    marker.events.clear();
  }
  CheckDocument(Written(queue, rtc::tracing::kTraceHeader), marker.events);
  return 0;
}
