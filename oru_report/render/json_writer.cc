#include "oru_report/render/json_writer.h"

#include <cinttypes>
#include <cstdio>

#include "oru_report/text/escape.h"

namespace oru_report {

void JsonWriter::Begin(std::string_view name) {
  if (!first_) output_ << ",";
  first_ = false;
  if (!name.empty()) output_ << JsonString(name) << ":";
}

void JsonWriter::BeginObject(std::string_view name) {
  Begin(name);
  output_ << "{";
  first_ = true;
}

void JsonWriter::EndObject() {
  output_ << "}";
  first_ = false;
}

void JsonWriter::BeginList(std::string_view name) {
  Begin(name);
  output_ << "[";
  first_ = true;
}

void JsonWriter::EndList() {
  output_ << "]";
  first_ = false;
}

void JsonWriter::Text(std::string_view name, std::string_view value) {
  Begin(name);
  output_ << JsonString(value);
}

void JsonWriter::Number(std::string_view name, uint64_t value) {
  Begin(name);
  output_ << std::to_string(value);
}

void JsonWriter::Plain(std::string_view name, std::string_view value) {
  Begin(name);
  output_ << value;
}

void JsonWriter::Flag(std::string_view name, bool value) {
  Begin(name);
  output_ << (value ? "true" : "false");
}

void JsonWriter::Address(std::string_view name, uint64_t value) {
  char text[32];
  snprintf(text, sizeof text, "0x%" PRIx64, value);
  Text(name, text);
}

}  // namespace oru_report
