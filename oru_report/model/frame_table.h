// The frames of a report, equal lines once.
#ifndef ORU_REPORT_MODEL_FRAME_TABLE_H_
#define ORU_REPORT_MODEL_FRAME_TABLE_H_

#include <deque>
#include <string_view>
#include <vector>

#include "oru_report/model/report_model.h"

namespace oru_report {

class FrameTable {
 public:
  // `frames` gets what is added; it must outlive the table, and nobody else adds to it.
  explicit FrameTable(std::deque<Frame>* frames) : frames_(frames), slots_(64, 0) {}

  // The frame of the line.
  const Frame* Add(std::string_view line);

 private:
  void Grow();

  std::deque<Frame>* frames_;
  // Open addressing: 1 + an index of `frames_`, 0 for an empty slot. Its size is a power of two.
  std::vector<uint32_t> slots_;
};

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_FRAME_TABLE_H_
