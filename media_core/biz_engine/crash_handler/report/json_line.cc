#include "media_core/biz_engine/crash_handler/report/json_line.h"

#include <cstring>

#include "media_core/biz_engine/crash_handler/report/utf8_text.h"

namespace CrashHandler {
namespace {

bool NeedsEscape(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F || c == '"' || c == '\\';
}

void AppendEscape(char c, machine::TextBuffer* text) {
  text->Append('\\');
  if (c == '"' || c == '\\') return text->Append(c);
  text->Append('u');
  text->AppendNumber(static_cast<unsigned char>(c), 16, 4);
}

}  // namespace

JsonLine::JsonLine(const char* type, machine::TextBuffer* text) : text_(*text) {
  text_.Append('{');
  Text("type", type);
}

JsonLine::~JsonLine() { text_.Append("}\n"); }

void JsonLine::Text(const char* name, const char* value) {
  if (value == nullptr) return Null(name);
  Text(name, value, strlen(value));
}

void JsonLine::Text(const char* name, const char* value, size_t size) {
  Begin(name);
  AppendString(value, size);
}

void JsonLine::Number(const char* name, uint64_t value) {
  Begin(name);
  text_.AppendNumber(value);
}

void JsonLine::SignedNumber(const char* name, int64_t value) {
  Begin(name);
  if (value < 0) text_.Append('-');
  const auto bits = static_cast<uint64_t>(value);
  text_.AppendNumber(value < 0 ? 0 - bits : bits);
}

void JsonLine::Address(const char* name, uint64_t value) {
  Begin(name);
  text_.Append('"');
  text_.AppendHex(value);
  text_.Append('"');
}

void JsonLine::Flag(const char* name, bool value) {
  Begin(name);
  text_.Append(value ? "true" : "false");
}

void JsonLine::Null(const char* name) {
  Begin(name);
  text_.Append("null");
}

void JsonLine::BeginObject(const char* name) {
  Begin(name);
  text_.Append('{');
  first_ = true;
}

void JsonLine::EndObject() {
  text_.Append('}');
  first_ = false;
}

void JsonLine::Begin(const char* name) {
  if (!first_) text_.Append(',');
  first_ = false;
  text_.Append('"');
  text_.Append(name);
  text_.Append("\":");
}

void JsonLine::AppendString(const char* value, size_t size) {
  text_.Append('"');
  const char* const end = value + size;
  for (const char* start = value; start != end;) {
    const char* stop = start;
    while (stop != end && !NeedsEscape(*stop)) ++stop;
    AppendAsUtf8(start, static_cast<size_t>(stop - start), &text_);
    if (stop == end) break;
    AppendEscape(*stop, &text_);
    start = stop + 1;
  }
  text_.Append('"');
}

}  // namespace CrashHandler
