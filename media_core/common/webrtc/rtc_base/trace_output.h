// Where a capture's document goes. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_OUTPUT_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_OUTPUT_H_

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace rtc {
namespace tracing {

// A full disk, or another error, makes a write arrive in part or not at all; later ones may
// succeed.
class TraceOutput {
 public:
  virtual ~TraceOutput() = default;

  // Appends; returns how much of it arrived (as far as that is known).
  virtual size_t Write(const std::string& text) = 0;
  // Lets the next write begin `size` bytes before the end, and replace them; false where what was
  // written stands.
  virtual bool StepBack(size_t /*size*/) { return false; }
  // What a crashing process can write to, or -1.
  virtual int descriptor() const { return -1; }
  // Takes the last `size` bytes that arrived off again: a part of a line. Where the system refuses
  // that, a newline closes the part before the next line.
  virtual void TakeBack(size_t size) = 0;
};

// Creates or empties a file; null when it cannot be opened. It is closed with the object.
std::unique_ptr<TraceOutput> OpenTraceFile(const char* path);

// An open file that stays the caller's.
std::unique_ptr<TraceOutput> UseTraceFile(FILE* file);

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_OUTPUT_H_
