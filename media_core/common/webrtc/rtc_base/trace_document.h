// The document that a capture writes. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_DOCUMENT_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_DOCUMENT_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"
#include "media_core/common/webrtc/rtc_base/trace_output.h"

namespace rtc {
namespace tracing {

// Collects text and writes it in pieces of whole lines. Where the output lets what was written be
// replaced, every piece is followed by the document's end, which the next piece replaces: the file
// is complete between the writes, whatever ends the process.
// What a piece could not bring into the file
// is lost: the next one says so, with an instant "EventLogger::Lost" in the place of the events
// that are missing. The document never ends with losses that it does not tell.
class TraceDocument {
 public:
  explicit TraceDocument(std::unique_ptr<TraceOutput> output);
  TraceDocument(const TraceDocument&) = delete;
  TraceDocument& operator=(const TraceDocument&) = delete;

  void Add(const TraceEvent& event);
  // Events that got lost on their way here, after those added so far.
  void AddLost(uint64_t events);
  // Writes what is collected.
  void Flush();
  // Writes the rest and the end.
  void End();

  // Whether all that was added is written, or lost.
  bool is_flushed() const { return text_.empty(); }

  // What a crashing process goes on from, without the heap: the header and the first line's blank
  // may still be missing in the file, and the end may be there to be replaced.
  bool has_header() const { return has_header_; }
  bool has_events() const { return has_events_; }
  bool has_end() const { return has_end_; }
  uint64_t lost() const { return lost_; }
  int descriptor() const { return output_->descriptor(); }

 private:
  struct Line {
    // Where it ends in the text.
    size_t end;
    // How many of the program's events are lost with it.
    uint64_t events;
  };

  void BeginPiece();
  void AppendEvent(const TraceEvent& event, uint64_t events);
  void AppendLost();
  void AppendLine(const char* line);
  void KeepWholeLines(size_t arrived);
  void WritePiece();

  const std::unique_ptr<TraceOutput> output_;
  const bool can_replace_;
  // The piece.
  std::string text_;
  std::vector<Line> lines_;
  // What is in the file.
  bool has_header_ = false;
  bool has_events_ = false;
  // It ends there for now.
  bool has_end_ = false;
  // Events that are missing behind it, and behind the piece.
  uint64_t lost_ = 0;
};

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_DOCUMENT_H_
