// What both renderings show of a backtrace line.
#ifndef ORU_REPORT_FRAME_VIEW_H_
#define ORU_REPORT_FRAME_VIEW_H_

#include <string>

#include "oru_report/report_model.h"
#include "oru_report/source_lookup.h"

namespace oru_report {

struct FrameView {
  // "#3"
  std::string number;
  // The demangled name with its offset, the image-relative address of a nameless frame, or the line
  // as it stands.
  std::string function;
  std::string image;
  // "0x00007f0012345678"; empty for a line of no known form.
  std::string address;
  // "file.cc:42", or empty.
  std::string place;
};

// `index` is the frame's position: every frame but the first holds a return address. `sources` may
// be null.
FrameView ViewFrame(const Report& report, const Frame& frame, size_t index, SourceLookup* sources);

// The path without "." and "NAME/..", which compilers leave in the names they were given. For
// showing only: a symbolic link on the way can make it another file's.
std::string ShortPath(const std::string& path);

}  // namespace oru_report

#endif  // ORU_REPORT_FRAME_VIEW_H_
