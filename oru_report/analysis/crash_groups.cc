#include "oru_report/analysis/crash_groups.h"

#include <algorithm>
#include <tuple>

namespace oru_report {
namespace {

// Values that a made-up fleet invents are counted together.
constexpr size_t kMostValues = 2000;

void Count(const std::string& value, std::map<std::string, size_t>* counts) {
  const bool full = counts->size() >= kMostValues && counts->count(value) == 0;
  ++(*counts)[full ? "others" : value.empty() ? "?" : value];
}

std::string DetailOf(const Headline& headline) {
  if (headline.exception_name.empty()) return headline.cause;
  return headline.exception_name + (headline.reason.empty() ? "" : ": " + headline.reason);
}

}  // namespace

void CrashGroups::Add(const std::string& file, const Report& report, const Headline& headline) {
  ++reports_;
  Fingerprint fingerprint = FingerprintOf(report, headline);
  CrashGroup& group = groups_[fingerprint.id];
  const std::string& time = headline.time;
  if (group.count == 0) {
    group.kind = headline.kind;
    group.place = headline.sdk_text.empty() ? headline.first_text : headline.sdk_text;
    group.fingerprint = std::move(fingerprint);
  }
  ++group.count;
  if (!time.empty() && (group.first_time.empty() || time < group.first_time)) {
    group.first_time = time;
  }
  group.last_time = std::max(group.last_time, time);
  Count(headline.version, &group.versions);
  Count(headline.app.empty() ? headline.process : headline.app, &group.apps);
  Count(time.substr(0, 10), &group.days);
  // Of equal times the first path, so that the order of reading does not matter.
  const bool newer = std::tie(group.example_time, file) < std::tie(time, group.example);
  if (report.gaps.empty() ? group.example.empty() || newer : group.example.empty()) {
    group.example = file;
    group.example_time = report.gaps.empty() ? time : "";
    group.detail = DetailOf(headline);
  }
}

std::vector<const CrashGroup*> CrashGroups::Sorted() const {
  std::vector<const CrashGroup*> sorted;
  sorted.reserve(groups_.size());
  for (const auto& [id, group] : groups_) sorted.push_back(&group);
  std::sort(sorted.begin(), sorted.end(), [](const CrashGroup* a, const CrashGroup* b) {
    return std::tie(b->count, b->last_time, a->fingerprint.id) <
           std::tie(a->count, a->last_time, b->fingerprint.id);
  });
  return sorted;
}

const CrashGroup* CrashGroups::Find(const std::string& id) const {
  const auto found = groups_.find(id);
  return found == groups_.end() ? nullptr : &found->second;
}

}  // namespace oru_report
