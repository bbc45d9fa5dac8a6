#include "oru_report/render/report_table.h"

#include <algorithm>
#include <array>

#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

// TIME, KIND, APP, SESSION, SDK, PLACE, FILE
constexpr size_t kColumns = 7;
using Row = std::array<std::string, kColumns>;
using Widths = std::array<size_t, kColumns>;

constexpr size_t kSession = 3;
constexpr size_t kPlace = 5;
constexpr size_t kFile = 6;
constexpr size_t kGap = 2;

bool BeginsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }

Row ToRow(const ReportEntry& entry) {
  return {entry.time,
          entry.kind,
          entry.app,
          entry.session,
          entry.version,
          entry.place,
          entry.whole ? entry.path : entry.path + " (not whole)"};
}

size_t LineWidth(const Widths& widths) {
  size_t width = kGap * (kColumns - 1);
  for (const size_t column : widths) width += column;
  return width;
}

// Takes what a line is too wide from the columns that people miss least.
void FitInto(size_t width, Widths* widths) {
  struct Step {
    size_t column;
    size_t least;
  };
  constexpr Step kSteps[] = {{kSession, 8}, {kFile, 24}, {kPlace, 24},  {2, 8}, {kFile, 8},
                             {kPlace, 8},   {4, 5},      {kSession, 3}, {2, 3}, {0, 10},
                             {1, 6},        {kFile, 1},  {kPlace, 1},   {4, 1}, {0, 1},
                             {1, 1},        {2, 1},      {kSession, 1}};
  for (const Step& step : kSteps) {
    const size_t line = LineWidth(*widths);
    if (line <= width) return;
    size_t& column = (*widths)[step.column];
    if (column > step.least) column = std::max(step.least, column - std::min(column, line - width));
  }
}

}  // namespace

size_t ColumnsOf(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), BeginsCharacter));
}

std::string Shortened(const std::string& text, size_t most) {
  if (ColumnsOf(text) <= most) return text;
  if (most == 0) return "";
  size_t end = 0;
  for (size_t columns = 0; end < text.size(); ++end) {
    // The last column is the mark's.
    if (BeginsCharacter(text[end]) && columns++ + 1 == most) break;
  }
  return text.substr(0, end) + "…";
}

void SortNewestFirst(std::vector<ReportEntry>* entries) {
  std::sort(entries->begin(), entries->end(), [](const ReportEntry& a, const ReportEntry& b) {
    const bool a_known = a.time != "?";
    const bool b_known = b.time != "?";
    if (a_known != b_known) return a_known;
    return a.time != b.time ? a.time > b.time : a.path < b.path;
  });
}

std::string FormatTable(const std::vector<ReportEntry>& entries, size_t width) {
  if (entries.empty()) return "no reports\n";
  // Long identifiers would push the table off the screen; the JSON form has them whole.
  constexpr size_t kMostColumns = 20;
  constexpr size_t kMostOfPlace = 60;
  std::vector<Row> rows = {{"TIME", "KIND", "APP", "SESSION", "SDK", "PLACE", "FILE"}};
  for (const ReportEntry& entry : entries) {
    rows.push_back(ToRow(entry));
    for (size_t i = 0; i < kColumns; ++i) {
      std::string& cell = rows.back()[i];
      cell = ForTerminal(cell);
      if (i != kFile) cell = Shortened(cell, i == kPlace ? kMostOfPlace : kMostColumns);
    }
  }
  Widths widths{};
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], ColumnsOf(row[i]));
  }
  if (width != 0) FitInto(width, &widths);
  std::string text;
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) {
      const std::string cell = Shortened(row[i], widths[i]);
      text += cell;
      if (i + 1 < kColumns) text += std::string(widths[i] - ColumnsOf(cell) + kGap, ' ');
    }
    text += "\n";
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
            ", \"place\": " + JsonString(entry.place) +
            ", \"bytes\": " + std::to_string(entry.bytes) +
            ", \"whole\": " + (entry.whole ? "true" : "false") + "}";
  }
  return text + (entries.empty() ? "]\n" : "\n]\n");
}

}  // namespace oru_report
