#include "oru_report/render/report_table.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
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

// Characters of East Asian scripts, and pictures, take two columns.
bool IsWide(unsigned long value) {
  constexpr struct {
    unsigned long first, last;
  } kWide[] = {{0x1100, 0x115F},   {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},
               {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
               {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
  return std::any_of(std::begin(kWide), std::end(kWide), [&](const auto& range) {
    return range.first <= value && value <= range.last;
  });
}

bool GoesOn(const std::string& text, size_t at) {
  return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
}

// Columns of the character at `at`, which is moved behind it.
size_t TakeCharacter(const std::string& text, size_t* at) {
  const size_t start = (*at)++;
  while (GoesOn(text, *at)) ++*at;
  unsigned long value = 0;
  const bool known = rtc::utf8_decode(text.data() + start, *at - start, &value) != 0;
  return known && IsWide(value) ? 2 : 1;
}

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
  constexpr Step kSteps[] = {{kSession, 8}, {kFile, 24},   {kPlace, 24}, {2, 8},       {kFile, 8},
                             {kSession, 4}, {kPlace, 8},   {4, 5},       {2, 3},       {0, 10},
                             {1, 6},        {kSession, 3}, {kFile, 1},   {4, 1},       {0, 1},
                             {1, 1},        {2, 1},        {kPlace, 1},  {kSession, 1}};
  for (const Step& step : kSteps) {
    const size_t line = LineWidth(*widths);
    if (line <= width) return;
    size_t& column = (*widths)[step.column];
    if (column > step.least) column = std::max(step.least, column - std::min(column, line - width));
  }
}

// Where the arguments of "a::b(int)::c(int) const" begin; the text's size when there are none.
size_t ArgumentsOf(const std::string& place) {
  size_t at = place.rfind(')');
  if (at == std::string::npos) return place.size();
  for (size_t depth = 1; depth > 0 && at-- > 0;) {
    if (place[at] == ')') ++depth;
    if (place[at] == '(') --depth;
  }
  return std::min(at, place.size());
}

// Where a function's own name begins, behind its namespaces and classes.
size_t OwnNameOf(const std::string& place, size_t end) {
  size_t own = 0;
  size_t depth = 0;
  for (size_t at = 0; at < end; ++at) {
    if (place[at] == '<' || place[at] == '(') ++depth;
    if ((place[at] == '>' || place[at] == ')') && depth > 0) --depth;
    if (depth == 0 && place.compare(at, 2, "::") == 0) own = at + 2;
  }
  return std::min(own, end);
}

// The function's own name is told last of all.
std::string ShortenedPlace(std::string place, size_t most) {
  constexpr std::string_view kNameless = "(anonymous namespace)::";
  for (size_t at = 0; ColumnsOf(place) > most;) {
    at = place.find(kNameless, at);
    if (at == std::string::npos) break;
    place.erase(at, kNameless.size());
  }
  const size_t arguments = ArgumentsOf(place);
  if (ColumnsOf(place) > most && arguments < place.size())
    place.replace(arguments, std::string::npos, "()");
  const size_t own = OwnNameOf(place, arguments);
  if (ColumnsOf(place) > most && own > 0) place.replace(0, own, "…");
  return Shortened(place, most);
}

// A path's end tells more than its beginning.
std::string ShortenedPath(const std::string& path, size_t most) {
  size_t columns = ColumnsOf(path);
  if (columns <= most || most == 0) return Shortened(path, most);
  size_t at = 0;
  while (columns + 1 > most) columns -= TakeCharacter(path, &at);
  return "…" + path.substr(at);
}

// Places get shorter than their column: what is left is the files'.
void GiveRestToFiles(const std::vector<Row>& rows, size_t longest_file, Widths* widths) {
  size_t used = 0;
  for (const Row& row : rows) {
    used = std::max(used, ColumnsOf(ShortenedPlace(row[kPlace], (*widths)[kPlace])));
  }
  const size_t rest = (*widths)[kPlace] - used;
  (*widths)[kPlace] = used;
  (*widths)[kFile] = std::min(longest_file, (*widths)[kFile] + rest);
}

std::string ShortenedCell(const std::string& cell, size_t column, size_t most) {
  if (column == kPlace) return ShortenedPlace(cell, most);
  return column == kFile ? ShortenedPath(cell, most) : Shortened(cell, most);
}

}  // namespace

size_t ColumnsOf(const std::string& text) {
  size_t columns = 0;
  for (size_t at = 0; at < text.size();) columns += TakeCharacter(text, &at);
  return columns;
}

std::string Shortened(const std::string& text, size_t most) {
  if (ColumnsOf(text) <= most) return text;
  if (most == 0) return "";
  size_t end = 0;
  size_t columns = 0;
  // The last column is the mark's.
  for (size_t at = 0; columns < most;) {
    end = at;
    columns += TakeCharacter(text, &at);
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
      if (i != kFile) cell = ShortenedCell(cell, i, i == kPlace ? kMostOfPlace : kMostColumns);
    }
  }
  Widths widths{};
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], ColumnsOf(row[i]));
  }
  if (width != 0) {
    const size_t longest_file = widths[kFile];
    FitInto(width, &widths);
    GiveRestToFiles(rows, longest_file, &widths);
  }
  std::string text;
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) {
      const std::string cell = ShortenedCell(row[i], i, widths[i]);
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
