// A crash report file as data.
#ifndef ORU_REPORT_REPORT_MODEL_H_
#define ORU_REPORT_REPORT_MODEL_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace oru_report {

// One line of a backtrace.
struct Frame {
  // The line as it stands in the report.
  std::string text;
  // False when the line has none of the known forms; then only `text` holds.
  bool parsed = false;
  // Last path component of the image, or its path (the crash thread's lines).
  std::string image;
  uint64_t address = 0;
  // As stored (mangled); empty when the report has none.
  std::string symbol;
  uint64_t offset = 0;
};

struct Thread {
  uint32_t number = 0;
  std::string name;
  std::vector<Frame> frames;
};

struct Image {
  // Addresses of the first and the last byte of the image's code.
  uint64_t start = 0;
  uint64_t end = 0;
  std::string name;
  // 32 lower-case hexadecimal digits.
  std::string uuid;
  std::string path;
};

struct Report {
  // Label and value of the header lines, in order.
  std::vector<std::pair<std::string, std::string>> header;
  // The terminating-exception line; empty in other reports.
  std::string exception;
  std::vector<Frame> crash_frames;
  // Thread blocks in the report's order.
  std::vector<Thread> threads;
  // Lines among the thread blocks that belong to none ("Fail to get information about thread: 7").
  std::vector<std::string> thread_notes;
  std::vector<Image> images;
  std::string custom_info;

  // The header's value of `label`, "" when there is none.
  std::string HeaderValue(const std::string& label) const;
  // The thread that crashed, or null when its block is missing.
  const Thread* CrashThread() const;
  // The image that holds `address`, or null.
  const Image* ImageOf(uint64_t address) const;
};

}  // namespace oru_report

#endif  // ORU_REPORT_REPORT_MODEL_H_
