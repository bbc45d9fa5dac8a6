// How much of a report is taken. Reports come from strangers: a made-up one must not cost more time
// or memory than a real one of its size. Real reports are far below all of these.
#ifndef ORU_REPORT_MODEL_LIMITS_H_
#define ORU_REPORT_MODEL_LIMITS_H_

#include <cstddef>

namespace oru_report {

// Of one report, unpacked.
constexpr size_t kMaxReportBytes = size_t{256} << 20;
constexpr size_t kMaxHeaderLines = 64;
constexpr size_t kMaxFrames = size_t{4} << 20;
constexpr size_t kMaxThreads = size_t{256} << 10;
constexpr size_t kMaxNotes = size_t{64} << 10;
constexpr size_t kMaxImages = size_t{64} << 10;
// A longer frame's or image's line is kept as text only.
constexpr size_t kMaxParsedLine = size_t{32} << 10;
// Of a companion: far above what crash capture writes.
constexpr size_t kMaxCompanionBytes = size_t{8} << 20;
constexpr size_t kMaxCompanionLines = size_t{16} << 10;
constexpr size_t kMaxCompanionValues = 64;
// Of a log or trace beside a report: the end that is read, and what is taken of a line.
constexpr size_t kMaxLogBytes = size_t{64} << 20;
constexpr size_t kMaxLogLine = size_t{8} << 10;
// What is shown of each of them.
constexpr size_t kMaxTimelineRows = 30;
constexpr size_t kMaxTimelineText = 400;
// Of a source file of which some lines are shown, and what is shown of a line.
constexpr size_t kMaxSourceBytes = size_t{16} << 20;
constexpr size_t kMaxSourceLine = 400;

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_LIMITS_H_
