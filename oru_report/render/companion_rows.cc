#include "oru_report/render/companion_rows.h"

#include "oru_report/model/line_text.h"
#include "oru_report/text/demangle.h"

namespace oru_report {
namespace {

constexpr size_t kRegistersARow = 4;
constexpr uint64_t kMiB = uint64_t{1} << 20;

// Names of types are mangled as parts of names are.
std::string TypeName(const std::string& mangled) {
  constexpr std::string_view kPrefix = "typeinfo for ";
  const std::string name = Demangle("_ZTI" + mangled);
  return StartsWith(name, kPrefix) ? name.substr(kPrefix.size()) : mangled;
}

// "name value", but for what is null.
std::string AllValues(const CompanionLine& line) {
  std::string text;
  for (const CompanionValue& value : line.values) {
    if (value.IsNull()) continue;
    text += (text.empty() ? "" : "  ") + value.name + " " + value.text;
  }
  return text;
}

std::string CrashText(const CompanionLine& line) {
  std::string text = line.Text("signal_name");
  if (text.empty()) text = line.Text("kind");
  const std::string& code = line.Text("code_name");
  if (!code.empty()) text += " " + code;
  const std::string& access = line.Text("access");
  const std::string& address = line.Text("address");
  if (!access.empty()) text += ", " + access;
  if (!address.empty()) text += " at " + address;
  return text + ", thread " + line.Text("thread") + ", " + line.Text("time");
}

std::string ExceptionText(const CompanionLine& line) {
  const std::string& name = line.Text("name");
  const std::string& reason = line.Text("reason");
  const bool mangled = line.Text("language") == "C++";
  return (mangled ? TypeName(name) : name) + (reason.empty() ? "" : ": " + reason);
}

std::string MemoryText(const CompanionLine& line) {
  std::string text;
  for (const CompanionValue& value : line.values) {
    const uint64_t bytes = LeadingNumber(value.text, 10);
    text += (text.empty() ? "" : ", ") + value.name + " " + std::to_string(bytes / kMiB) + " MiB";
  }
  return text;
}

std::string TextOf(const CompanionLine& line) {
  if (line.type == "crash") return CrashText(line);
  if (line.type == "exception") return ExceptionText(line);
  if (line.type == "memory") return MemoryText(line);
  if (line.type == "note") return line.Text("key") + ": " + line.Text("value");
  if (line.type == "log") return line.Text("text");
  if (line.type != "thread") return AllValues(line);
  const bool crashed = line.Text("crashed") == "true";
  return line.Text("number") + " " + line.Text("name") + (crashed ? "  (crashed)" : "");
}

void AddRegisters(const CompanionLine& line, std::vector<CompanionRow>* rows) {
  size_t count = 0;
  for (const CompanionValue& value : line.values) {
    if (value.object.empty()) continue;
    if (count % kRegistersARow == 0) rows->push_back({count == 0 ? line.type : "", ""});
    rows->back().text += (count % kRegistersARow == 0 ? "" : "  ") + value.name + " " + value.text;
    ++count;
  }
}

}  // namespace

std::vector<CompanionRow> RowsOf(const Companion& companion) {
  std::vector<CompanionRow> rows;
  const CompanionLine* before = nullptr;
  for (const CompanionLine& line : companion.lines) {
    const bool again = before != nullptr && before->type == line.type;
    before = &line;
    if (line.type == "end") continue;
    if (line.type == "registers") {
      AddRegisters(line, &rows);
    } else {
      rows.push_back({again ? "" : line.type, TextOf(line)});
    }
  }
  return rows;
}

}  // namespace oru_report
