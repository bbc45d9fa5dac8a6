// Texts of crash reports made safe for terminals, pages and JSON, and lists of reports.
#include "fuzz/fuzz_support.h"
#include "fuzz/json_reader.h"
#include "fuzz/markup_check.h"
#include "fuzz/utf8_check.h"
#include "oru_report/model/report_name.h"
#include "oru_report/render/report_table.h"
#include "oru_report/text/demangle.h"
#include "oru_report/text/escape.h"
#include "oru_report/text/path_text.h"

using oru_fuzz::Json;
using oru_fuzz::Require;
using oru_report::ReportEntry;
using Strings = std::vector<std::string>;

namespace {

// Each byte that is part of no character replaced.
std::string ValidReference(const std::string& text) {
  std::string valid;
  for (size_t at = 0; at < text.size();) {
    const size_t length = oru_fuzz::CharacterLength(text, at);
    valid += length == 0 ? oru_test::Utf8Of(0xFFFD) : text.substr(at, length);
    at += length == 0 ? 1 : length;
  }
  return valid;
}

void CheckEscapes(const std::string& text) {
  const std::string valid = ValidReference(text);
  Require(oru_report::ToValidUtf8(text) == valid, "ToValidUtf8");

  const std::string terminal = oru_report::ForTerminal(text);
  oru_fuzz::CheckTerminalText(terminal, false);
  Require(terminal.find('\n') == std::string::npos, "one line");
  Require(oru_report::ForTerminal(terminal) == terminal, "what is visible stays");

  const std::string html = oru_report::ForHtml(text);
  Require(html.find_first_of("<>\"'") == std::string::npos, "no markup");
  Require(oru_test::Join(oru_test::XmlDecodeUnits(html)) == oru_report::Visible(text, true),
          "ForHtml shows the same");

  Json json;
  const std::string string = oru_report::JsonString(text);
  Require(oru_fuzz::ReadJson(string, oru_fuzz::JsonRules::kStrict, &json), "a JSON string");
  Require(json.kind == Json::kString && json.text == valid, "JsonString");
}

void CheckDemangle(const std::string& text) {
  const std::string symbol = text.substr(0, text.find('\0'));
  const std::string readable = oru_report::Demangle(symbol);
  Require(!readable.empty() || symbol.empty(), "a name stays a name");
  Require(readable == symbol || readable.size() <= 2048 + 8 * symbol.size(),
          "names stay in proportion");
  if (symbol.compare(0, 2, "_Z") != 0) Require(readable == symbol, "other names stay");
}

void CheckShortPath(const std::string& path) {
  const std::string text = oru_report::ShortPath(path);
  Require(oru_report::ShortPath(text) == text, "a short path stays");
  const bool absolute = !path.empty() && path[0] == '/';
  const Strings parts =
      oru_test::PiecesOf(absolute && !text.empty() ? text.substr(1) : text, '/', true);
  if (text.empty()) return;
  bool down = absolute;
  for (const std::string& part : parts) {
    Require(!part.empty() && part != ".", "nothing is left of the parts without a meaning");
    Require(part != ".." || !down, "a way up only in front");
    down = down || part != "..";
  }
}

std::vector<ReportEntry> Entries(oru_fuzz::Input* input) {
  std::vector<ReportEntry> entries;
  while (entries.size() < 4 && !input->empty()) {
    ReportEntry entry;
    for (std::string* field : {&entry.path, &entry.kind, &entry.app, &entry.session, &entry.time,
                               &entry.version, &entry.place}) {
      *field = input->Text(input->Byte() % 64);
    }
    entry.bytes = input->Size();
    entries.push_back(entry);
  }
  return entries;
}

void CheckMember(const Json& object, const char* name, const std::string& text) {
  const Json* value = object.Find(name);
  Require(value != nullptr && value->kind == Json::kString, name);
  Require(value->text == ValidReference(text), name);
}

void CheckJsonList(const std::vector<ReportEntry>& entries) {
  Json list;
  const std::string text = oru_report::FormatJson(entries);
  Require(oru_fuzz::ReadJson(text, oru_fuzz::JsonRules::kStrict, &list), "a JSON list");
  Require(list.kind == Json::kArray && list.values.size() == entries.size(), "JSON entries");
  for (size_t i = 0; i < entries.size(); ++i) {
    const Json& object = list.values[i];
    CheckMember(object, "file", entries[i].path);
    CheckMember(object, "kind", entries[i].kind);
    CheckMember(object, "app", entries[i].app);
    CheckMember(object, "session", entries[i].session);
    CheckMember(object, "sdk", entries[i].version);
    CheckMember(object, "time", entries[i].time);
    const Json* bytes = object.Find("bytes");
    Require(bytes != nullptr && bytes->kind == Json::kNumber, "bytes");
    Require(bytes->text == std::to_string(entries[i].bytes), "number of bytes");
  }
}

size_t Columns(const std::string& text) {
  size_t columns = 0;
  for (size_t at = 0; at < text.size(); at += oru_fuzz::CharacterLength(text, at)) ++columns;
  return columns;
}

void CheckTable(const std::vector<ReportEntry>& entries, size_t width) {
  const std::string table = oru_report::FormatTable(entries, width);
  oru_fuzz::CheckTerminalText(table, false);
  if (entries.empty()) {
    Require(table == "no reports\n", "empty table");
    return;
  }
  Strings lines = oru_test::PiecesOf(table, '\n', true);
  Require(lines.back().empty(), "the last line ends");
  lines.pop_back();
  Require(lines.size() == entries.size() + 1, "a line a report");
  for (const std::string& line : lines) {
    Require(width < 20 || Columns(line) <= width, "a line fits");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const std::string text = oru_fuzz::Input(input).Rest();
  CheckEscapes(text);
  CheckDemangle(text);
  CheckShortPath(text);
  const std::vector<ReportEntry> entries = Entries(&input);
  CheckJsonList(entries);
  CheckTable(entries, 0);
  CheckTable(entries, text.size());
  oru_report::ParseReportName(text);
  return 0;
}
