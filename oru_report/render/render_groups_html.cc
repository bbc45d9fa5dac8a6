#include <algorithm>
#include <cstdio>
#include <string_view>

#include "oru_report/render/page_frame.h"
#include "oru_report/render/render_groups.h"
#include "oru_report/text/demangle.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

// More groups are counted, but not shown: a page that long is read by nobody.
constexpr size_t kMostGroups = 500;
constexpr size_t kMostBars = 120;

using Counts = std::map<std::string, size_t>;

// "2024-03-05"
bool IsDay(const std::string& text) {
  constexpr std::string_view kForm = "dddd-dd-dd";
  if (text.size() != kForm.size()) return false;
  for (size_t i = 0; i < kForm.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == 'd' ? !digit : text[i] != '-') return false;
  }
  return true;
}

int DaysOf(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month >= 1 && month <= 12 ? kDays[month - 1] + (leap && month == 2 ? 1 : 0) : 31;
}

// The day, month or year after one of these forms.
std::string NextDate(const std::string& date) {
  int year = std::stoi(date.substr(0, 4));
  int month = date.size() > 4 ? std::stoi(date.substr(5, 2)) : 12;
  int day = date.size() > 7 ? std::stoi(date.substr(8, 2)) : 31;
  if (++day > DaysOf(year, month)) {
    day = 1;
    ++month;
  }
  if (month > 12) {
    month = 1;
    ++year;
  }
  char next[40];
  snprintf(next, sizeof next, "%04d-%02d-%02d", year, month, day);
  return std::string(next).substr(0, date.size());
}

// Every day, month or year from the first to the last, also those without reports: what is too many
// to be drawn as days is drawn as months, then as years. Times that are none are left out.
Counts OverTime(const Counts& days) {
  for (const size_t digits : {size_t{10}, size_t{7}, size_t{4}}) {
    Counts counts;
    for (const auto& [day, count] : days) {
      if (IsDay(day)) counts[day.substr(0, digits)] += count;
    }
    if (counts.empty()) return counts;
    const std::string last = counts.rbegin()->first;
    std::string at = counts.begin()->first;
    size_t bars = 1;
    for (; at < last && bars < kMostBars; ++bars) {
      at = NextDate(at);
      counts[at];
    }
    if (at >= last) return counts;
  }
  return days;
}

// Bars in the order of their names, with the highest told, and the names below: all when they are
// few, the first and the last otherwise.
void WritePlot(const std::string& title, const Counts& counts, Output* output) {
  constexpr size_t kHeight = 60;
  constexpr size_t kWidth = 600;
  constexpr size_t kFewBars = 6;
  if (counts.empty()) return;
  size_t most = 1;
  for (const auto& [name, count] : counts) most = std::max(most, count);
  const size_t bars = counts.size();
  *output << "<p class=where>" << ForHtml(title) << ", at most " << std::to_string(most)
          << "</p>\n<svg viewBox=\"0 0 600 60\" preserveAspectRatio=none role=img aria-label=\""
          << ForHtml(title) << "\">\n";
  size_t index = 0;
  for (const auto& [name, count] : counts) {
    const size_t height = std::max<size_t>(count * kHeight / most, count == 0 ? 0 : 1);
    const size_t left = index * kWidth / bars;
    const size_t width = std::max<size_t>((index + 1) * kWidth / bars - left, 2) - 1;
    *output << "<rect x=" << std::to_string(left) << " y=" << std::to_string(kHeight - height)
            << " width=" << std::to_string(std::min<size_t>(width, 40))
            << " height=" << std::to_string(height) << "><title>" << ForHtml(name) << ": "
            << std::to_string(count) << "</title></rect>\n";
    ++index;
  }
  *output << "</svg>\n<div class=\"axis" << (bars <= kFewBars ? " each" : "") << "\">";
  index = 0;
  for (const auto& [name, count] : counts) {
    const bool told = bars <= kFewBars || index == 0 || index + 1 == bars;
    if (told) *output << "<span>" << ForHtml(name) << "</span>";
    ++index;
  }
  *output << "</div>\n";
}

// "4 versions, last 2024-12-25"
std::string SeenText(const CrashGroup& group) {
  const size_t count = group.versions.size();
  const std::string versions =
      count == 1 ? "SDK " + group.versions.begin()->first : std::to_string(count) + " versions";
  return versions + (group.last_time.empty() ? "" : ", last " + group.last_time.substr(0, 10));
}

void WriteGroup(const CrashGroup& group, bool open, Output* output) {
  *output << "<details class=thread id=g" << group.fingerprint.id << (open ? " open" : "")
          << "><summary><b class=times>" << std::to_string(group.count) << "</b> "
          << ForHtml(group.kind) << " in " << ForHtml(group.place.empty() ? "?" : group.place)
          << " <span class=top>" << ForHtml(group.detail) << "</span> <span class=top>"
          << ForHtml(SeenText(group)) << "</span></summary>\n"
          << "<p class=where>" << ForHtml(group.first_time) << " to " << ForHtml(group.last_time)
          << ", SDK " << ForHtml(CountsText(group.versions)) << ", app "
          << ForHtml(CountsText(group.apps)) << "</p>\n";
  WritePlot("Reports over time", OverTime(group.days), output);
  WritePlot("Reports by version", group.versions, output);
  *output << "<ol>\n";
  for (const std::string& part : group.fingerprint.parts) {
    *output << "<li class=word><code>" << ForHtml(Demangle(part)) << "</code></li>\n";
  }
  *output << "</ol>\n<p class=where><a href=\"#g" << group.fingerprint.id << "\">"
          << group.fingerprint.id << "</a> " << ForHtml(group.example) << "</p></details>\n";
}

}  // namespace

void RenderGroupsHtml(const CrashGroups& groups, Output* output) {
  const std::vector<const CrashGroup*> sorted = groups.Sorted();
  Counts days;
  Counts versions;
  for (const CrashGroup* group : sorted) {
    for (const auto& [day, count] : group->days) days[day] += count;
    for (const auto& [version, count] : group->versions) versions[version] += count;
  }
  BeginPage("Crash reports", output);
  *output << "<header><h1>" << std::to_string(groups.reports()) << " reports of "
          << std::to_string(sorted.size()) << " different crashes</h1>\n";
  WritePlot("Reports over time", OverTime(days), output);
  WritePlot("Reports by version", versions, output);
  *output << "</header>\n";
  WriteNavigation("Crashes and their functions", output);
  *output << "<main>\n";
  const size_t shown = std::min(sorted.size(), kMostGroups);
  for (size_t i = 0; i < shown; ++i) WriteGroup(*sorted[i], i == 0, output);
  if (shown < sorted.size()) {
    *output << "<p class=none>and " << std::to_string(sorted.size() - shown)
            << " rarer crashes, which are not shown</p>\n";
  }
  *output << "</main>\n";
  EndPage(output);
}

}  // namespace oru_report
