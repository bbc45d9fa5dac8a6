// What a report says, in a line.
#ifndef ORU_REPORT_ANALYSIS_HEADLINE_H_
#define ORU_REPORT_ANALYSIS_HEADLINE_H_

#include <string>
#include <string_view>

#include "oru_report/analysis/resolver.h"
#include "oru_report/model/report_model.h"

namespace oru_report {

// Empty where neither the report nor its file's name tell.
struct Headline {
  // "Signal", "Exception" or "MemoryError".
  std::string kind;
  // What ended it, as the frames show: "abort() was called".
  std::string cause;
  std::string exception_name;
  std::string reason;
  std::string app;
  std::string process;
  std::string version;
  std::string session;
  // "2024-03-05 07:08:09", the crashing machine's local time.
  std::string time;
  // "Linux, x86_64"
  std::string system;

  // Frames of the crash handler in front, and indexes of the first frame behind them, the first of
  // the SDK and the first of the app; the number of frames where there is none.
  size_t handler_frames = 0;
  size_t first = 0;
  size_t sdk = 0;
  size_t app_frame = 0;
  // "OruRTC::Engine::join(int) at engine.cc:42", empty without a frame.
  std::string first_text;
  std::string sdk_text;
  std::string app_text;
};

// `file_name` and `folder`: the report's file, and the last part of its folder, which is named
// after the SDK's version.
Headline MakeHeadline(std::string_view file_name, std::string_view folder, Resolver* resolver);

// One line: "Exception 'Range' (beyond the end) in OruRTC::Engine::join(int), ...".
std::string HeadlineText(const Headline& headline);

// The name of an exception section's "... uncaught exception 'NAME', reason: 'REASON'".
std::string_view ExceptionName(std::string_view exception);
std::string_view ExceptionReason(std::string_view exception);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_HEADLINE_H_
