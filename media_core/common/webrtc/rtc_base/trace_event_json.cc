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
constexpr char kPid[] = "1";

// The text of a number is cut to what fits, the terminator included.
constexpr size_t kNumberBufferSize = 32;

std::string_view OrNull(const char* text) {
  return text == nullptr ? std::string_view("(null)") : std::string_view(text);
}

// What both forms append to: a string, or a writer.
//
// A line has a score of small parts, and a call to append one of them costs more than to copy it:
// they are collected first.
class StringText {
 public:
  explicit StringText(std::string* text) : text_(text) {}
  ~StringText() { Flush(); }
  StringText(const StringText&) = delete;
  StringText& operator=(const StringText&) = delete;

  // A copy of a known size is a few moves.
  template <size_t kSize>
  void Add(const char (&literal)[kSize]) {
    static_assert(kSize <= sizeof(parts_));
    if (kSize > room()) {
      Flush();
    }
    memcpy(end_, literal, kSize - 1);
    end_ += kSize - 1;
  }
  void Add(std::string_view part) {
    if (part.size() > room()) {
      Flush();
      if (part.size() > room()) {
        text_->append(part);
        return;
      }
    }
    memcpy(end_, part.data(), part.size());
    end_ += part.size();
  }
  void Add(char c) {
    if (room() == 0) {
      Flush();
    }
    *end_++ = c;
  }

 private:
  size_t room() const { return static_cast<size_t>(parts_ + sizeof(parts_) - end_); }
  void Flush() {
    text_->append(parts_, static_cast<size_t>(end_ - parts_));
    end_ = parts_;
  }

  std::string* const text_;
  char parts_[512];
  char* end_ = parts_;
};

class WriterText {
 public:
  explicit WriterText(TraceTextWriter* writer) : writer_(writer) {}
  void Add(std::string_view part) { writer_->Append(part.data(), part.size()); }
  void Add(char c) { writer_->Append(&c, 1); }

 private:
  TraceTextWriter* const writer_;
};

template <class Text>
void AddDecimal(Text* json, uint64_t value) {
  char digits[kMaxDecimalDigits];
  char* const end = digits + kMaxDecimalDigits;
  const char* const start = WriteDecimal(end, value);
  json->Add(std::string_view(start, static_cast<size_t>(end - start)));
}

template <class Text>
void AddSignedDecimal(Text* json, int64_t value) {
  if (value < 0) {
    json->Add('-');
  }
  // Negated as unsigned, so that the smallest value has its own digits too.
  const auto bits = static_cast<uint64_t>(value);
  AddDecimal(json, value < 0 ? 0 - bits : bits);
}

// The terminator is looked for behind the first character only; see the header.
template <class Text>
void AddEscaped(Text* json, const char* text) {
  do {
    if (*text == '\\' || *text == '"') {
      json->Add('\\');
    }
    json->Add(*text);
    ++text;
  } while (*text != '\0');
}

template <class Text>
void AddString(Text* json, uint64_t value) {
  const char* const text = reinterpret_cast<const char*>(value);
  json->Add('"');
  AddEscaped(json, text == nullptr ? "(null)" : text);
  json->Add('"');
}

template <class Text>
void AddDouble(Text* json, uint64_t bits) {
  double value = 0;
  memcpy(&value, &bits, sizeof(value));
  char text[kNumberBufferSize];
  json->Add(std::string_view(text, sprintfn(text, sizeof(text), "%f", value)));
}

template <class Text>
void AddPointer(Text* json, uint64_t value) {
  char text[kNumberBufferSize];
  json->Add(std::string_view(
      text, sprintfn(text, sizeof(text), "\"%p\"", reinterpret_cast<void*>(value))));
}

template <class Text>
void AddValue(Text* json, const TraceArg& arg) {
  using namespace webrtc::trace_event_internal;
  switch (arg.type) {
    case kTypeBool:
      // The emitter may have set no more than the value's one byte.
      json->Add(static_cast<unsigned char>(arg.value) != 0 ? std::string_view("true")
                                                           : std::string_view("false"));
      break;
    case kTypeUint:
      AddDecimal(json, arg.value);
      break;
    case kTypeInt:
      AddSignedDecimal(json, static_cast<int64_t>(arg.value));
      break;
    case kTypeDouble:
      AddDouble(json, arg.value);
      break;
    case kTypePointer:
      AddPointer(json, arg.value);
      break;
    case kTypeString:
    case kTypeCopyString:
      AddString(json, arg.value);
      break;
    default:
      break;
  }
}

template <class Text>
void AddArgs(Text* json, const TraceEvent& event) {
  if (event.num_args == 0) {
    return;
  }
  json->Add(", \"args\": {");
  for (size_t i = 0; i < event.num_args; ++i) {
    const TraceArg& arg = event.args()[i];
    json->Add(i == 0 ? " \"" : ", \"");
    json->Add(OrNull(arg.name));
    json->Add("\": ");
    AddValue(json, arg);
  }
  json->Add(" }");
}

template <class Text>
void AddEvent(Text* json, const TraceEvent& event, bool is_first) {
  json->Add(is_first ? " { \"name\": \"" : ",{ \"name\": \"");
  json->Add(OrNull(event.name));
  json->Add("\", \"cat\": \"");
  json->Add(OrNull(reinterpret_cast<const char*>(event.category_enabled)));
  json->Add("\", \"ph\": \"");
  json->Add(event.phase);
  json->Add("\", \"ts\": ");
  AddDecimal(json, event.timestamp());
  json->Add(", \"pid\": ");
  json->Add(kPid);
  json->Add(", \"tid\": ");
  AddSignedDecimal(json, static_cast<int32_t>(event.tid));
  AddArgs(json, event);
  json->Add("}\n");
}

}  // namespace

void AppendTraceEventJson(std::string* json, const TraceEvent& event, bool is_first) {
  StringText text(json);
  AddEvent(&text, event, is_first);
}

void WriteTraceEventJson(TraceTextWriter* writer, const TraceEvent& event, bool is_first) {
  WriterText text(writer);
  AddEvent(&text, event, is_first);
}

}  // namespace tracing
}  // namespace rtc
