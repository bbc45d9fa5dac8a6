// Whose code a frame is.
#ifndef ORU_REPORT_ANALYSIS_FRAME_MARK_H_
#define ORU_REPORT_ANALYSIS_FRAME_MARK_H_

#include <string_view>

#include "oru_report/model/report_model.h"

namespace oru_report {

enum class Mark {
  // The crash handler's own.
  kHandler,
  // The SDK's, by the rule that decides whether a crash is reported: "OruRTC" stands in the symbol
  // or in the image's path.
  kSdk,
  kApp,
  // In an image of the system's folders.
  kSystem,
  // In no image of the report.
  kUnknown,
};

// "handler", "SDK", "app", "system", "unknown".
const char* MarkName(Mark mark);

// One letter: H, S, A, "." for the system, "?".
char MarkLetter(Mark mark);

// `symbol` is the frame's name as far as known; it may be another one than the frame's own.
Mark MarkOf(const Report& report, const Frame& frame, std::string_view symbol);

// Whether the word that decides about reports stands in a symbol or path.
bool HasFilterWord(std::string_view text);

// Whether the symbol is of the C++ library, whose templates are part of every image: seldom what is
// looked for.
bool IsLibraryCode(std::string_view symbol);

// Whether the path lies where a system keeps its own images.
bool IsSystemPath(std::string_view path);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_FRAME_MARK_H_
