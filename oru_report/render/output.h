// Where what is shown goes, piece by piece: a large report is never held as one text.
#ifndef ORU_REPORT_RENDER_OUTPUT_H_
#define ORU_REPORT_RENDER_OUTPUT_H_

#include <cstdio>
#include <string>
#include <string_view>

namespace oru_report {

class Output {
 public:
  Output() = default;
  virtual ~Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  virtual void Write(std::string_view text) = 0;

  Output& operator<<(std::string_view text) {
    Write(text);
    return *this;
  }
};

class StringOutput : public Output {
 public:
  void Write(std::string_view text) override { text_ += text; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// A stream of the C library, which stays the caller's. Failures are told at the end.
class StreamOutput : public Output {
 public:
  explicit StreamOutput(FILE* stream) : stream_(stream) {}
  void Write(std::string_view text) override {
    failed_ = failed_ || fwrite(text.data(), 1, text.size(), stream_) != text.size();
  }
  // Whether all of it is written.
  bool Flush() { return fflush(stream_) == 0 && !failed_; }

 private:
  FILE* stream_;
  bool failed_ = false;
};

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_OUTPUT_H_
