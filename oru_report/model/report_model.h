// A crash report file as data.
#ifndef ORU_REPORT_MODEL_REPORT_MODEL_H_
#define ORU_REPORT_MODEL_REPORT_MODEL_H_

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "oru_report/model/companion.h"

namespace oru_report {

// One line of a backtrace.
struct Frame {
  // The line as it stands in the report.
  std::string_view text;
  uint64_t address = 0;
  uint64_t offset = 0;
  // False when the line has none of the known forms; then only `text` holds.
  bool parsed = false;

  // Last path component of the image; a nameless image's base.
  std::string_view image() const { return text.substr(image_at, image_size); }
  // As stored (mangled); empty when the report has none.
  std::string_view symbol() const { return text.substr(symbol_at, symbol_size); }

  // Places in `text`: a report may have millions of frames.
  uint32_t image_at = 0;
  uint32_t image_size = 0;
  uint32_t symbol_at = 0;
  uint32_t symbol_size = 0;
};

// Equal lines are one frame: threads that wait in the same place share theirs.
using FrameList = std::vector<const Frame*>;

struct Thread {
  uint32_t number = 0;
  std::string_view name;
  FrameList frames;
};

struct Image {
  // Addresses of the first and the last byte of the image's code.
  uint64_t start = 0;
  uint64_t end = 0;
  std::string_view name;
  // 32 lower-case hexadecimal digits.
  std::string_view uuid;
  std::string_view path;
};

// All texts are views of the report's own text, so it can be moved but not copied.
struct Report {
  Report() = default;
  Report(Report&&) = default;
  Report& operator=(Report&&) = default;

  // Label and value of the header lines, in order.
  std::vector<std::pair<std::string_view, std::string_view>> header;
  // The terminating-exception lines; empty in other reports.
  std::string_view exception;
  FrameList crash_frames;
  // Thread blocks in the report's order.
  std::vector<Thread> threads;
  // Lines among the thread blocks that belong to none ("Fail to get information about thread: 7").
  std::vector<std::string_view> thread_notes;
  std::vector<Image> images;
  std::string_view custom_info;
  // What lies beside the report; its gaps are its own.
  Companion companion;
  // Sentences about what is missing; empty for a whole report.
  std::vector<std::string> gaps;

  // The header's value of `label`, "" when there is none.
  std::string_view HeaderValue(std::string_view label) const;
  // The thread that crashed, or null when its block is missing.
  const Thread* CrashThread() const;
  // The image that holds `address`, or null.
  const Image* ImageOf(uint64_t address) const;

  // What the views above point into, and the frames that the lists share.
  std::unique_ptr<const std::string> text;
  std::deque<Frame> frames;
  // Indexes of `images` by their start.
  std::vector<uint32_t> images_by_start;
};

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_REPORT_MODEL_H_
