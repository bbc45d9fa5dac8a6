#include "oru_report/render/render_groups.h"

#include <algorithm>

#include "oru_report/render/json_writer.h"
#include "oru_report/render/report_table.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

std::string Span(const CrashGroup& group) {
  const std::string first = group.first_time.substr(0, 10);
  const std::string last = group.last_time.substr(0, 10);
  if (last.empty()) return "no time";
  return first == last ? last : first + " to " + last;
}

void WriteCounts(const char* name, const std::map<std::string, size_t>& counts, JsonWriter* json) {
  json->BeginObject(name);
  for (const auto& [value, count] : counts) json->Number(value, count);
  json->EndObject();
}

}  // namespace

std::string CountsText(const std::map<std::string, size_t>& counts) {
  constexpr size_t kMost = 4;
  std::vector<std::pair<std::string, size_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::string text;
  for (size_t i = 0; i < std::min(kMost, sorted.size()); ++i) {
    text += (i == 0 ? "" : ", ") + sorted[i].first + " (" + std::to_string(sorted[i].second) + ")";
  }
  if (sorted.size() > kMost) text += " and " + std::to_string(sorted.size() - kMost) + " more";
  return text;
}

void RenderGroupsText(const CrashGroups& groups, size_t width, Output* output) {
  const std::vector<const CrashGroup*> sorted = groups.Sorted();
  const auto line = [&](const std::string& text) {
    const std::string shown = ForTerminal(text);
    *output << (width == 0 ? shown : Shortened(shown, width)) << "\n";
  };
  const auto count_of = [](size_t count, const std::string& what, const std::string& more) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : more);
  };
  line(count_of(groups.reports(), "report", "s") + ", " +
       count_of(sorted.size(), "different crash", "es"));
  for (const CrashGroup* group : sorted) {
    const std::string count = std::to_string(group->count);
    *output << "\n";
    line(std::string(count.size() < 7 ? 7 - count.size() : 0, ' ') + count + "  " + group->kind +
         (group->detail.empty() ? "" : " (" + group->detail + ")") + " in " +
         (group->place.empty() ? "?" : group->place));
    line("         " + Span(*group) + " | SDK " + CountsText(group->versions) + " | app " +
         CountsText(group->apps));
    line("         " + group->fingerprint.id + "  " + group->example);
  }
}

void RenderGroupsJson(const CrashGroups& groups, Output* output) {
  for (const CrashGroup* group : groups.Sorted()) {
    JsonWriter json(output);
    json.BeginObject();
    json.Number("schema", 1);
    json.Text("fingerprint", group->fingerprint.id);
    json.Number("count", group->count);
    json.Text("kind", group->kind);
    json.Text("detail", group->detail);
    json.Text("place", group->place);
    json.Text("first_time", group->first_time);
    json.Text("last_time", group->last_time);
    WriteCounts("versions", group->versions, &json);
    WriteCounts("apps", group->apps, &json);
    WriteCounts("days", group->days, &json);
    json.BeginList("parts");
    for (const std::string& part : group->fingerprint.parts) json.Text("", part);
    json.EndList();
    json.Text("example", group->example);
    json.EndObject();
    *output << "\n";
  }
}

}  // namespace oru_report
