#include "media_core/common/webrtc/rtc_base/trace_merge.h"

#include <utility>

namespace rtc {
namespace tracing {
namespace {

TraceCursor* Meld(TraceCursor* a, TraceCursor* b) {
  if (a == nullptr || b == nullptr) {
    return a == nullptr ? b : a;
  }
  if (b->event->order < a->event->order) {
    std::swap(a, b);
  }
  b->sibling = a->child;
  a->child = b;
  return a;
}

}  // namespace

void TraceMerge::Add(TraceCursor* cursor) {
  if (cursor->Find() && cursor->event->order <= until_) {
    cursor->child = nullptr;
    first_ = Meld(first_, cursor);
  }
}

const TraceEvent* TraceMerge::Next() {
  if (current_ != nullptr) {
    Add(current_);
  }
  current_ = TakeFirst();
  if (current_ == nullptr) {
    return nullptr;
  }
  const TraceEvent* const event = current_->event;
  current_->offset += event->size();
  return event;
}

// Melds the first one's children in pairs, and then the pairs from the last to the first.
TraceCursor* TraceMerge::TakeFirst() {
  TraceCursor* const first = first_;
  if (first == nullptr) {
    return nullptr;
  }
  TraceCursor* pairs = nullptr;
  for (TraceCursor* child = first->child; child != nullptr;) {
    TraceCursor* const second = child->sibling;
    TraceCursor* const rest = second == nullptr ? nullptr : second->sibling;
    TraceCursor* const pair = Meld(child, second);
    pair->sibling = pairs;
    pairs = pair;
    child = rest;
  }
  first_ = nullptr;
  while (pairs != nullptr) {
    TraceCursor* const pair = pairs;
    pairs = pair->sibling;
    first_ = Meld(first_, pair);
  }
  return first;
}

}  // namespace tracing
}  // namespace rtc
