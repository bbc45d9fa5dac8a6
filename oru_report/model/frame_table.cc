#include "oru_report/model/frame_table.h"

#include <functional>

#include "oru_report/model/frame_line.h"

namespace oru_report {
namespace {

size_t HashOf(std::string_view line) { return std::hash<std::string_view>()(line); }

}  // namespace

const Frame* FrameTable::Add(std::string_view line) {
  const size_t mask = slots_.size() - 1;
  size_t slot = HashOf(line) & mask;
  while (slots_[slot] != 0) {
    const Frame& known = (*frames_)[slots_[slot] - 1];
    if (known.text == line) return &known;
    slot = (slot + 1) & mask;
  }
  frames_->push_back(ParseFrame(line));
  slots_[slot] = static_cast<uint32_t>(frames_->size());
  // Read before growing: a deque's elements stay where they are.
  const Frame* added = &frames_->back();
  if (frames_->size() * 2 > slots_.size()) Grow();
  return added;
}

void FrameTable::Grow() {
  std::vector<uint32_t>(slots_.size() * 2, 0).swap(slots_);
  const size_t mask = slots_.size() - 1;
  for (size_t index = 0; index < frames_->size(); ++index) {
    size_t slot = HashOf((*frames_)[index].text) & mask;
    while (slots_[slot] != 0) slot = (slot + 1) & mask;
    slots_[slot] = static_cast<uint32_t>(index + 1);
  }
}

}  // namespace oru_report
