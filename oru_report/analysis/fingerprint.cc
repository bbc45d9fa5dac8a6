#include "oru_report/analysis/fingerprint.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

// Deeper frames tell who called, not what failed.
constexpr size_t kMostFrames = 16;
constexpr size_t kMostSystemFrames = 3;

// Fixed for good: fingerprints are kept in tickets.
uint64_t Fnv1a(const std::vector<std::string>& parts) {
  uint64_t hash = 0xcbf29ce484222325;
  const auto add = [&](char c) { hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3; };
  for (const std::string& part : parts) {
    for (const char c : part) add(c);
    add('\n');
  }
  return hash;
}

std::string PartOf(const Frame& frame, const ResolvedFrame& resolved) {
  if (!resolved.symbol.empty()) return resolved.symbol;
  return std::string(resolved.image == nullptr ? frame.image() : resolved.image->name);
}

// Whatever repeats is there once: the depth of a recursion is chance.
void AddOnce(const std::string& part, std::vector<std::string>* parts) {
  constexpr size_t kLongestPeriod = 8;
  parts->push_back(part);
  for (size_t period = 1; period <= std::min(kLongestPeriod, parts->size() / 2); ++period) {
    const auto end = parts->end();
    const auto length = static_cast<std::ptrdiff_t>(period);
    if (std::equal(end - length, end, end - 2 * length)) {
      parts->resize(parts->size() - period);
      return;
    }
  }
}

void AddFrames(Resolver* resolver, const Headline& headline, bool system,
               std::vector<std::string>* parts) {
  const FrameList& frames = resolver->report().crash_frames;
  const size_t most = system ? kMostSystemFrames : kMostFrames;
  std::vector<std::string> names;
  for (size_t i = headline.first; i < frames.size() && names.size() < most; ++i) {
    if (!frames[i]->parsed) continue;
    const ResolvedFrame& resolved = resolver->Resolve(*frames[i], i != 0);
    const bool own = resolved.mark == Mark::kSdk || resolved.mark == Mark::kApp;
    if (own == system || IsLibraryCode(resolved.symbol)) continue;
    const std::string part = PartOf(*frames[i], resolved);
    if (!part.empty()) AddOnce(part, &names);
  }
  parts->insert(parts->end(), names.begin(), names.end());
}

}  // namespace

Fingerprint FingerprintOf(const Report& report, const Headline& headline) {
  // Without symbols: they are not at hand everywhere.
  Resolver resolver(report, nullptr);
  Fingerprint fingerprint;
  fingerprint.parts = {headline.kind + " " + headline.exception_name};
  AddFrames(&resolver, headline, false, &fingerprint.parts);
  if (fingerprint.parts.size() == 1) AddFrames(&resolver, headline, true, &fingerprint.parts);
  char id[24];
  snprintf(id, sizeof id, "%016" PRIx64, Fnv1a(fingerprint.parts));
  fingerprint.id = id;
  return fingerprint;
}

}  // namespace oru_report
