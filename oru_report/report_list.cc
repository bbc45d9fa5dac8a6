#include "oru_report/report_list.h"

#include <dirent.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "oru_report/escape.h"

namespace oru_report {
namespace {

constexpr char kPrefix[] = "Crash_";

// "2024-03-05-07-08-09" as a person writes it; anything else stays as it is.
std::string ReadableTime(const std::string& stamp) {
  constexpr char kForm[] = "dddd-dd-dd-dd-dd-dd";
  if (stamp.size() != sizeof kForm - 1) return stamp;
  std::string text = stamp;
  text[10] = ' ';
  text[13] = text[16] = ':';
  return text;
}

ReportEntry ReadEntry(const std::string& dir, const std::string& version, const std::string& name) {
  ReportEntry entry;
  entry.path = dir + "/" + name;
  entry.version = version;
  entry.size = CrashHandler::GetFileSize(entry.path);
  std::string stamp;
  if (CrashHandler::ParseCrashInfoFromFileName(name, &entry.app, &entry.session, &entry.kind,
                                               &stamp)) {
    entry.time = ReadableTime(stamp);
  } else {
    entry.app = entry.session = entry.kind = entry.time = "?";
  }
  return entry;
}

void FindInFolder(const std::string& dir, const std::string& version,
                  std::vector<ReportEntry>* entries) {
  for (const std::string& name : CrashHandler::GetDirFileByPrefixAndSuffix(dir, kPrefix, "log")) {
    // The search admits any name that begins with one of the prefix's characters.
    if (name.compare(0, sizeof kPrefix - 1, kPrefix) != 0) continue;
    entries->push_back(ReadEntry(dir, version, name));
  }
}

using Row = std::array<std::string, 7>;

Row ToRow(const ReportEntry& entry) {
  return {entry.time,    entry.kind,    entry.app,
          entry.session, entry.version, std::to_string(entry.size),
          entry.path};
}

// Columns of a terminal that the text takes: its UTF-8 characters.
size_t Width(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
  }));
}

// Long identifiers would push the table off the screen; the file's name and the JSON form have them
// whole.
std::string Shortened(const std::string& text) {
  constexpr size_t kMostColumns = 20;
  if (Width(text) <= kMostColumns) return text;
  size_t end = 0;
  for (size_t columns = 0; columns < kMostColumns; ++end) {
    if ((static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U) ++columns;
  }
  // The last character counted makes room for the mark.
  return text.substr(0, end - 1) + "…";
}

}  // namespace

bool FindReports(const std::string& dir, std::vector<ReportEntry>* entries, std::string* error) {
  entries->clear();
  DIR* opened = opendir(dir.c_str());
  if (opened == nullptr) {
    *error = "cannot open the folder " + dir + ": " + strerror(errno);
    return false;
  }
  closedir(opened);
  std::string base = dir;
  while (base.size() > 1 && base.back() == '/') base.pop_back();
  FindInFolder(base, "", entries);
  for (const std::string& version : CrashHandler::GetDirInPath(base)) {
    FindInFolder(base + "/" + version, version, entries);
  }
  std::sort(entries->begin(), entries->end(), [](const ReportEntry& a, const ReportEntry& b) {
    // Names that tell no time come last.
    const bool a_known = a.time != "?";
    const bool b_known = b.time != "?";
    if (a_known != b_known) return a_known;
    return a.time != b.time ? a.time > b.time : a.path < b.path;
  });
  return true;
}

std::string FormatTable(const std::vector<ReportEntry>& entries) {
  if (entries.empty()) return "no reports\n";
  std::vector<Row> rows = {{"TIME", "KIND", "APP", "SESSION", "SDK", "BYTES", "FILE"}};
  for (const ReportEntry& entry : entries) {
    rows.push_back(ToRow(entry));
    for (std::string& cell : rows.back()) {
      cell = ForTerminal(cell);
      if (&cell != &rows.back().back()) cell = Shortened(cell);
    }
  }
  std::array<size_t, 7> widths{};
  for (const Row& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  constexpr size_t kSizeColumn = 5;
  std::string text;
  for (const Row& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      const bool last = i + 1 == row.size();
      const std::string padding(last ? 0 : widths[i] - Width(row[i]), ' ');
      text += (i == kSizeColumn ? padding + row[i] : row[i] + padding);
      text += last ? "\n" : "  ";
    }
  }
  return text;
}

std::string FormatJson(const std::vector<ReportEntry>& entries) {
  std::string text = "[";
  for (const ReportEntry& entry : entries) {
    text += text.size() == 1 ? "\n" : ",\n";
    text += "  {\"file\": " + JsonString(entry.path) + ", \"kind\": " + JsonString(entry.kind) +
            ", \"app\": " + JsonString(entry.app) + ", \"session\": " + JsonString(entry.session) +
            ", \"sdk\": " + JsonString(entry.version) + ", \"time\": " + JsonString(entry.time) +
            ", \"bytes\": " + std::to_string(entry.size) + "}";
  }
  return text + (entries.empty() ? "]\n" : "\n]\n");
}

}  // namespace oru_report
