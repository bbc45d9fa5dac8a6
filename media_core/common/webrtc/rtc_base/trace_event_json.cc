#include "media_core/common/webrtc/rtc_base/trace_event_json.h"

#include <cstring>
#include <string_view>

#include "media_core/common/webrtc/rtc_base/decimal_text.h"
#include "media_core/common/webrtc/rtc_base/sprintfn.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {
namespace {

// All events carry the same process number: a document describes one process.
constexpr std::string_view kPid = "1";

// The text of a number is cut to what fits, the terminator included.
constexpr size_t kNumberBufferSize = 32;

std::string_view OrNull(const char* text) {
  return text == nullptr ? std::string_view("(null)") : std::string_view(text);
}

// The terminator is looked for behind the first character only; see the header.
void AppendEscaped(std::string* json, const char* text) {
  do {
    if (*text == '\\' || *text == '"') {
      json->push_back('\\');
    }
    json->push_back(*text);
    ++text;
  } while (*text != '\0');
}

void AppendString(std::string* json, uint64_t value) {
  const char* const text = reinterpret_cast<const char*>(value);
  json->push_back('"');
  AppendEscaped(json, text == nullptr ? "(null)" : text);
  json->push_back('"');
}

void AppendDouble(std::string* json, uint64_t bits) {
  double value = 0;
  memcpy(&value, &bits, sizeof(value));
  char text[kNumberBufferSize];
  json->append(text, sprintfn(text, sizeof(text), "%f", value));
}

void AppendPointer(std::string* json, uint64_t value) {
  char text[kNumberBufferSize];
  json->append(text, sprintfn(text, sizeof(text), "\"%p\"", reinterpret_cast<void*>(value)));
}

void AppendValue(std::string* json, const TraceArg& arg) {
  using namespace webrtc::trace_event_internal;
  switch (arg.type) {
    case kTypeBool:
      // The emitter may have set no more than the value's one byte.
      json->append(static_cast<unsigned char>(arg.value) != 0 ? "true" : "false");
      break;
    case kTypeUint:
      AppendDecimal(json, arg.value);
      break;
    case kTypeInt:
      AppendSignedDecimal(json, static_cast<int64_t>(arg.value));
      break;
    case kTypeDouble:
      AppendDouble(json, arg.value);
      break;
    case kTypePointer:
      AppendPointer(json, arg.value);
      break;
    case kTypeString:
    case kTypeCopyString:
      AppendString(json, arg.value);
      break;
    default:
      break;
  }
}

void AppendArgs(std::string* json, const TraceEvent& event) {
  if (event.num_args == 0) {
    return;
  }
  json->append(", \"args\": {");
  for (size_t i = 0; i < event.num_args; ++i) {
    const TraceArg& arg = event.args()[i];
    json->append(i == 0 ? " \"" : ", \"");
    json->append(OrNull(arg.name)).append("\": ");
    AppendValue(json, arg);
  }
  json->append(" }");
}

}  // namespace

void AppendTraceEventJson(std::string* json, const TraceEvent& event, bool is_first) {
  json->append(is_first ? " { \"name\": \"" : ",{ \"name\": \"");
  json->append(OrNull(event.name)).append("\", \"cat\": \"");
  json->append(OrNull(reinterpret_cast<const char*>(event.category_enabled)));
  json->append("\", \"ph\": \"").push_back(event.phase);
  json->append("\", \"ts\": ");
  AppendDecimal(json, event.timestamp);
  json->append(", \"pid\": ").append(kPid).append(", \"tid\": ");
  AppendSignedDecimal(json, static_cast<int32_t>(event.tid));
  AppendArgs(json, event);
  json->append("}\n");
}

}  // namespace tracing
}  // namespace rtc
