// Reads back what the tracer wrote, whole or cut, as strictly as it is written.
#ifndef TESTS_RTC_BASE_TRACE_TEXT_H_
#define TESTS_RTC_BASE_TRACE_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace oru_test {

struct TraceTextEvent {
  std::string_view name;
  std::string_view category;
  char phase = 0;
  uint64_t time = 0;
  // What stands between the braces, or nothing.
  std::string_view args;

  // The argument's number; 0 and a test failure when there is none.
  uint64_t Number(std::string_view arg) const;
};

struct TraceText {
  // What is wrong with a line that ends, with its number; empty when all is well.
  std::string error;
  std::vector<TraceTextEvent> events;
  // A last line that does not end.
  std::string_view cut;
  // The last line is the document's end.
  bool ended = false;

  // The sum of what the document says about lost events.
  uint64_t Lost() const;
  // The events without the tracer's own.
  std::vector<TraceTextEvent> Others() const;
};

// `text` has to outlive the result. Its strings must not hold newlines.
TraceText ReadTrace(std::string_view text);

// Whether a JSON parser reads the document, and what it says when it does not.
std::string JsonError(const std::string& path);

}  // namespace oru_test

#endif  // TESTS_RTC_BASE_TRACE_TEXT_H_
