#include "oru_report/analysis/resolver.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "oru_report/text/demangle.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

// Real reports have some thousand different frames; of more the earlier ones are forgotten.
constexpr size_t kMostKnown = 50000;

// A return address points behind the call that is meant.
uint64_t AddressToFind(const Frame& frame, bool is_return_address) {
  return frame.address - (is_return_address && frame.address != 0 ? 1 : 0);
}

}  // namespace

std::string OffsetName(const ResolvedFrame& frame) {
  if (frame.image == nullptr) return "?";
  char offset[32];
  snprintf(offset, sizeof offset, " + 0x%" PRIx64, frame.image_offset);
  return std::string(frame.image->name) + offset;
}

Resolver::Resolver(const Report& report, SymbolStore* symbols)
    : report_(report), symbols_(symbols) {
  // Only nameless frames of the crashed thread ask.
  for (const Frame* frame : report.crash_frames) {
    if (frame->parsed && frame->symbol().empty()) names_.emplace(frame->address, nullptr);
  }
  if (names_.empty()) return;
  for (const Frame& frame : report.frames) {
    if (!frame.parsed || frame.symbol().empty()) continue;
    const auto wanted = names_.find(frame.address);
    if (wanted != names_.end() && wanted->second == nullptr) wanted->second = &frame;
  }
}

const Frame* Resolver::NamedFrame(const Frame& frame) const {
  if (!frame.symbol().empty()) return &frame;
  const auto known = names_.find(frame.address);
  return known == names_.end() ? nullptr : known->second;
}

void Resolver::Prepare() {
  if (symbols_ == nullptr) return;
  std::unordered_map<const Image*, std::vector<uint64_t>> wanted;
  const auto add = [&](const FrameList& frames) {
    for (size_t i = 0; i < frames.size(); ++i) {
      const uint64_t address = AddressToFind(*frames[i], i != 0);
      const Image* image = frames[i]->parsed ? report_.ImageOf(address) : nullptr;
      if (image != nullptr) wanted[image].push_back(address);
    }
  };
  add(report_.crash_frames);
  for (const Thread& thread : report_.threads) add(thread.frames);
  for (auto& [image, addresses] : wanted) {
    std::sort(addresses.begin(), addresses.end());
    addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
    symbols_->Prepare(*image, addresses);
  }
}

void Resolver::Fill(const Frame& frame, bool is_return_address, ResolvedFrame* resolved) {
  const uint64_t address = AddressToFind(frame, is_return_address);
  resolved->image = report_.ImageOf(address);
  if (resolved->image != nullptr) resolved->image_offset = frame.address - resolved->image->start;
  Place place;
  if (symbols_ != nullptr && resolved->image != nullptr) {
    place = symbols_->Find(*resolved->image, address);
  }
  if (!place.frames.empty()) {
    const SourceFrame& own = place.frames.back();
    resolved->symbol = own.function;
    resolved->file = ShortPath(own.file);
    resolved->line = own.line;
    place.frames.pop_back();
    for (SourceFrame& inlined : place.frames) {
      inlined.function = Demangle(inlined.function);
      inlined.file = ShortPath(inlined.file);
    }
    resolved->inlined = std::move(place.frames);
  }
  const Frame* named = NamedFrame(frame);
  // What the file's own tables do not confirm was a guess: the nearest name before it.
  if (resolved->symbol.empty() && named != nullptr && !place.file_known) {
    resolved->symbol = named->symbol();
    resolved->offset = named->offset;
    resolved->has_offset = true;
  }
  resolved->function = Demangle(resolved->symbol);
  resolved->mark = MarkOf(report_, frame, resolved->symbol);
}

const ResolvedFrame& Resolver::Resolve(const Frame& frame, bool is_return_address) {
  const uintptr_t key = reinterpret_cast<uintptr_t>(&frame) | (is_return_address ? 1U : 0U);
  const auto known = known_.find(key);
  if (known != known_.end()) return known->second;
  if (known_.size() >= kMostKnown) known_.clear();
  ResolvedFrame& resolved = known_[key];
  if (frame.parsed) Fill(frame, is_return_address, &resolved);
  return resolved;
}

std::string Resolver::NameOf(const Frame& frame, bool is_return_address) {
  if (!frame.parsed) return std::string(frame.text);
  const ResolvedFrame& resolved = Resolve(frame, is_return_address);
  if (!resolved.inlined.empty()) return resolved.inlined.front().function;
  return resolved.function.empty() ? OffsetName(resolved) : resolved.function;
}

std::string Resolver::PlaceOf(const ResolvedFrame& frame) {
  const bool inlined = !frame.inlined.empty();
  const std::string& file = inlined ? frame.inlined.front().file : frame.file;
  const int line = inlined ? frame.inlined.front().line : frame.line;
  return file.empty() || line <= 0 ? "" : file + ":" + std::to_string(line);
}

}  // namespace oru_report
