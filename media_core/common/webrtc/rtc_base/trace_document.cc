#include "media_core/common/webrtc/rtc_base/trace_document.h"

#include <algorithm>
#include <utility>

#include "media_core/common/webrtc/rtc_base/trace_event_json.h"
#include "media_core/common/webrtc/rtc_base/trace_lost_mark.h"

namespace rtc {
namespace tracing {
namespace {

// Text is handed to the file in pieces of about this size.
constexpr size_t kPieceSize = 64 * 1024;
// A buffer that grew beyond its purpose by one huge event is not kept.
constexpr size_t kKeptCapacity = 1024 * 1024;
constexpr size_t kEndSize = sizeof(kTraceFooter) - 1;

}  // namespace

TraceDocument::TraceDocument(std::unique_ptr<TraceOutput> output)
    : output_(std::move(output)), can_replace_(output_->StepBack(0)) {
  BeginPiece();
}

void TraceDocument::Add(const TraceEvent& event) {
  BeginPiece();
  AppendEvent(event, 1);
  if (text_.size() > kPieceSize) {
    Flush();
  }
}

void TraceDocument::AddLost(uint64_t events) {
  if (events > 0) {
    Flush();
    lost_ += events;
  }
}

void TraceDocument::Flush() {
  if (text_.empty()) {
    return;
  }
  if (has_end_ && !output_->StepBack(kEndSize)) {
    // Nothing can be written where the end stands.
    KeepWholeLines(0);
  } else {
    WritePiece();
  }
  lines_.clear();
  text_.clear();
  if (text_.capacity() > kKeptCapacity) {
    text_.shrink_to_fit();
  }
}

void TraceDocument::WritePiece() {
  const size_t size = text_.size();
  const bool had_end = std::exchange(has_end_, false);
  if (can_replace_) {
    text_.append(kTraceFooter);
  }
  const size_t arrived = output_->Write(text_);
  if (arrived == 0 && had_end) {
    // The old end would say that nothing is missing.
    output_->TakeBack(0);
  } else if (arrived > size) {
    has_end_ = arrived == text_.size();
    if (!has_end_) {
      output_->TakeBack(arrived - size);
    }
  }
  KeepWholeLines(std::min(arrived, size));
}

void TraceDocument::End() {
  Flush();
  if (has_end_ && lost_ == 0) {
    return;
  }
  BeginPiece();
  if (!can_replace_) {
    AppendLine(kTraceFooter);
  } else if (text_.empty()) {
    // Only the end is missing.
    WritePiece();
    return;
  }
  Flush();
}

// Every piece begins with what the file still lacks.
void TraceDocument::BeginPiece() {
  if (!lines_.empty()) {
    return;
  }
  if (!has_header_) {
    AppendLine(kTraceHeader);
  }
  if (lost_ > 0) {
    AppendLost();
  }
}

void TraceDocument::AppendEvent(const TraceEvent& event, uint64_t events) {
  const bool is_first = !has_events_ && (lines_.empty() || lines_.back().events == 0);
  AppendTraceEventJson(&text_, event, is_first);
  lines_.push_back({text_.size(), events});
}

void TraceDocument::AppendLost() {
  // Taken first: the compiler chooses which of a call's arguments comes first.
  const uint64_t lost = std::exchange(lost_, 0);
  AppendEvent(TraceLostMark(lost).event, lost);
}

void TraceDocument::AppendLine(const char* line) {
  text_.append(line);
  lines_.push_back({text_.size(), 0});
}

void TraceDocument::KeepWholeLines(size_t arrived) {
  size_t whole = 0;
  for (const Line& line : lines_) {
    if (line.end <= arrived) {
      whole = line.end;
      has_header_ = true;
      has_events_ = has_events_ || line.events > 0;
    } else {
      lost_ += line.events;
    }
  }
  if (whole < arrived) {
    output_->TakeBack(arrived - whole);
  }
}

}  // namespace tracing
}  // namespace rtc
