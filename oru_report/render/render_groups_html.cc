#include <algorithm>

#include "oru_report/render/page_frame.h"
#include "oru_report/render/render_groups.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

// More groups are counted, but not shown: a page that long is read by nobody.
constexpr size_t kMostGroups = 500;
constexpr size_t kMostBars = 120;

using Counts = std::map<std::string, size_t>;

// Days without reports count too, at least as an empty place between months.
Counts ByMonthIfLong(const Counts& days) {
  if (days.size() <= kMostBars) return days;
  Counts months;
  for (const auto& [day, count] : days) months[day.substr(0, 7)] += count;
  return months;
}

// Bars in the order of their names, with the first, the last and the highest told.
void WritePlot(const std::string& title, const Counts& counts, Output* output) {
  constexpr size_t kHeight = 60;
  constexpr size_t kWidth = 600;
  size_t most = 1;
  for (const auto& [name, count] : counts) most = std::max(most, count);
  const size_t bars = std::max<size_t>(counts.size(), 1);
  *output << "<p class=where>" << ForHtml(title) << ", at most " << std::to_string(most)
          << "</p>\n<svg viewBox=\"0 0 600 76\" role=img aria-label=\"" << ForHtml(title)
          << "\">\n";
  size_t index = 0;
  for (const auto& [name, count] : counts) {
    const size_t height = std::max<size_t>(count * kHeight / most, count == 0 ? 0 : 1);
    const size_t left = index * kWidth / bars;
    const size_t width = std::max<size_t>((index + 1) * kWidth / bars - left, 2) - 1;
    *output << "<rect x=" << std::to_string(left) << " y=" << std::to_string(kHeight - height)
            << " width=" << std::to_string(std::min<size_t>(width, 40))
            << " height=" << std::to_string(height) << "><title>" << ForHtml(name) << ": "
            << std::to_string(count) << "</title></rect>\n";
    const bool label = bars <= 8 || index == 0 || index + 1 == bars;
    if (label) {
      const size_t at = bars > 8 && index != 0 ? kWidth - 60 : left;
      *output << "<text x=" << std::to_string(at) << " y=73>" << ForHtml(name) << "</text>\n";
    }
    ++index;
  }
  *output << "</svg>\n";
}

void WriteGroup(const CrashGroup& group, bool open, Output* output) {
  *output << "<details class=thread id=g" << group.fingerprint.id << (open ? " open" : "")
          << "><summary><b>" << std::to_string(group.count) << "</b> " << ForHtml(group.kind)
          << " in " << ForHtml(group.place.empty() ? "?" : group.place) << " <span class=top>"
          << ForHtml(group.detail) << "</span></summary>\n"
          << "<p class=where>" << ForHtml(group.first_time) << " to " << ForHtml(group.last_time)
          << ", SDK " << ForHtml(CountsText(group.versions)) << ", app "
          << ForHtml(CountsText(group.apps)) << "</p>\n";
  WritePlot("Reports over time", ByMonthIfLong(group.days), output);
  WritePlot("Reports by version", group.versions, output);
  *output << "<ol>\n";
  for (const std::string& part : group.fingerprint.parts) {
    *output << "<li class=word><code>" << ForHtml(part) << "</code></li>\n";
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
  WritePlot("Reports over time", ByMonthIfLong(days), output);
  WritePlot("Reports by version", versions, output);
  *output << "</header>\n";
  WriteNavigation(output);
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
