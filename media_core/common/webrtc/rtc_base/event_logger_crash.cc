// The side of the event logger that runs in a crashing process: no heap, no lock for good.
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/event_logger.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event_json.h"
#include "media_core/common/webrtc/rtc_base/trace_lost_mark.h"

namespace rtc {
namespace tracing {
namespace {

// One crash writes.
char g_text[16 * 1024];

// The rest of a document.
class CrashDocument final : public TraceTextWriter {
 public:
  explicit CrashDocument(const TraceDocument& begun)
      : fd_(begun.descriptor()), has_events_(begun.has_events()) {
    if (begun.has_end()) {
      lseek(fd_, -static_cast<off_t>(sizeof(kTraceFooter) - 1), SEEK_CUR);
    }
    if (!begun.has_header()) {
      AppendText(kTraceHeader);
    }
  }

  void Append(const char* text, size_t size) override {
    while (size > 0) {
      if (used_ == sizeof(g_text)) {
        Flush();
      }
      const size_t part = size < sizeof(g_text) - used_ ? size : sizeof(g_text) - used_;
      memcpy(g_text + used_, text, part);
      used_ += part;
      text += part;
      size -= part;
    }
  }

  void Add(const TraceEvent& event) {
    WriteTraceEventJson(this, event, !has_events_);
    has_events_ = true;
  }

  void AddLost(uint64_t events) {
    if (events != 0) {
      Add(TraceLostMark(events).event);
    }
  }

  void End() {
    AppendText(kTraceFooter);
    Flush();
  }

 private:
  void AppendText(const char* text) { Append(text, strlen(text)); }

  void Flush() {
    size_t done = 0;
    while (done < used_) {
      const ssize_t result = write(fd_, g_text + done, used_ - done);
      if (result <= 0 && !(result < 0 && errno == EINTR)) {
        break;
      }
      done += result > 0 ? static_cast<size_t>(result) : 0;
    }
    used_ = 0;
  }

  const int fd_;
  bool has_events_;
  size_t used_ = 0;
};

}  // namespace

void EventLogger::TakeDocumentForCrash(int64_t max_wait_ns) {
  const int64_t start = SystemTimeNanos();
  Writer nobody = Writer::kNobody;
  while (!writer_.compare_exchange_strong(nobody, Writer::kCrash)) {
    if (SystemTimeNanos() - start > max_wait_ns) {
      // The writer is stuck, or is the thread that crashed: it stops where it sees this.
      writer_.store(Writer::kCrash);
      return;
    }
    sched_yield();
    nobody = Writer::kNobody;
  }
}

bool EventLogger::FlushOfCrash(int64_t max_wait_ns) {
  const int saved_errno = errno;
  int32_t active = 1;
  if (!g_event_logging_active.compare_exchange_strong(active, 0)) {
    return false;
  }
  TakeDocumentForCrash(max_wait_ns);
  const int fd = document_->descriptor();
  if (fd < 0) {
    return false;
  }
  const int flags = fcntl(fd, F_GETFL);
  // A pipe that nobody reads would hold the crash up for ever.
  fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  CrashDocument rest(*document_);
  rest.AddLost(document_->lost());
  TraceMerge events;
  const uint64_t dropped = queue_.ReadForCrash(&events);
  while (const TraceEvent* const event = events.Next()) {
    rest.Add(*event);
  }
  rest.AddLost(dropped);
  rest.End();
  fcntl(fd, F_SETFL, flags);
  errno = saved_errno;
  return true;
}

}  // namespace tracing
}  // namespace rtc
