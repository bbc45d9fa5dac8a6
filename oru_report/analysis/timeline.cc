#include "oru_report/analysis/timeline.h"

#include <algorithm>
#include <cstdio>
#include <deque>

#include "media_core/common/webrtc/rtc_base/log_calendar_time.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "oru_report/input/line_file.h"
#include "oru_report/model/calendar_time.h"
#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"
#include "oru_report/model/trace_line.h"

namespace oru_report {
namespace {

constexpr int64_t kMicrosPerMinute = 60 * rtc::kNumMicrosecsPerSec;
// Zones lie that far apart: who is later has been asked about the wrong one, or the wrong file.
constexpr int64_t kLongBefore = 15 * kMicrosPerMinute;
// Reports tell milliseconds; what came within the last one is before the crash.
constexpr int64_t kReportGrain = rtc::kNumMicrosecsPerMillisec - 1;

constexpr char kAskForZone[] = "; is the crashing machine's zone another one (--utc-offset)?";

std::string OffsetText(int minutes) {
  char text[32];
  const int size = minutes < 0 ? -minutes : minutes;
  snprintf(text, sizeof text, "UTC%c%02d:%02d", minutes < 0 ? '-' : '+', size / 60, size % 60);
  return text;
}

// Of this machine at that local time.
int OwnOffset(std::tm local, int64_t as_utc_micros) {
  local.tm_isdst = -1;
  const std::time_t moment = mktime(&local);
  return static_cast<int>((as_utc_micros / rtc::kNumMicrosecsPerSec - moment) / 60);
}

void ReadCrashTime(const Report& report, const TimelineOptions& options, Timeline* timeline) {
  CalendarTime time;
  if (!ReadReportTime(report.HeaderValue("Date/Time"), &time)) return;
  const std::optional<int64_t> local = time.UtcMicros();
  if (!local) return;
  const int offset = options.utc_offset ? *options.utc_offset : OwnOffset(time.fields, *local);
  timeline->zone = OffsetText(offset) + (options.utc_offset ? "" : ", as on this machine");
  timeline->crash_micros = *local - offset * kMicrosPerMinute;
}

std::string Shortened(std::string_view text) {
  if (text.size() <= kMaxTimelineText) return std::string(text);
  size_t size = kMaxTimelineText;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) --size;
  return std::string(text.substr(0, size)) + "...";
}

// Takes rows one after the other and keeps the last ones that are not behind the crash.
class LastRows {
 public:
  explicit LastRows(std::optional<int64_t> crash_micros)
      : end_(crash_micros ? *crash_micros + kReportGrain : INT64_MAX) {}

  bool IsBehind(int64_t micros) {
    if (micros <= end_) return false;
    first_behind_ = behind_++ == 0 ? micros : first_behind_;
    return true;
  }
  void Add(TimelineRow row) {
    rows_.push_back(std::move(row));
    if (rows_.size() > kMaxTimelineRows) rows_.pop_front();
  }
  void Clear() { rows_.clear(); }

  // `shift` makes calendar time of the rows' times.
  void MoveTo(TimelineRows* result, int64_t shift) {
    for (TimelineRow& row : rows_) {
      row.micros += shift;
      result->rows.push_back(std::move(row));
    }
    std::stable_sort(
        result->rows.begin(), result->rows.end(),
        [](const TimelineRow& a, const TimelineRow& b) { return a.micros < b.micros; });
    if (!result->dated) return;
    if (result->rows.empty() && behind_ > 0) {
      result->notes.push_back("all of it is behind the crash, from " + CalendarText(first_behind_) +
                              " on" + kAskForZone);
    } else if (!result->rows.empty() && end_ - result->rows.back().micros > kLongBefore &&
               end_ != INT64_MAX) {
      result->notes.push_back("its last before the crash is of " +
                              CalendarText(result->rows.back().micros) + kAskForZone);
    }
  }

 private:
  const int64_t end_;
  std::deque<TimelineRow> rows_;
  size_t behind_ = 0;
  int64_t first_behind_ = 0;
};

class LogReader {
 public:
  explicit LogReader(std::optional<int64_t> crash_micros) : last_(crash_micros) {}

  void Take(std::string_view line) {
    CalendarTime time;
    std::optional<int64_t> micros;
    if (ReadLogTime(line, &time)) micros = time.UtcMicros();
    if (micros) {
      // What stands before the first time is of a program that wrote none.
      if (!dated_) last_.Clear();
      dated_ = true;
      micros_ = *micros;
      line.remove_prefix(kLogTimeSize);
    }
    if (line.empty() || (dated_ && last_.IsBehind(micros_))) return;
    last_.Add({micros_, false, false, Shortened(line)});
  }
  void MoveTo(TimelineRows* rows) {
    rows->dated = dated_;
    if (!dated_) rows->notes.emplace_back("its lines have no calendar time: these are its last");
    last_.MoveTo(rows, 0);
  }

 private:
  LastRows last_;
  bool dated_ = false;
  // Of the line before, whose part a line without a time is.
  int64_t micros_ = 0;
};

const char* PhaseWord(char phase) {
  if (phase == 'B') return "begin ";
  return phase == 'E' ? "end   " : "mark  ";
}

std::string EventText(const TraceLine& event, bool crashed_thread) {
  std::string text = PhaseWord(event.phase) + event.category + " " + event.name;
  if (!event.args.empty()) text += "  " + std::string(event.args);
  const std::string thread =
      crashed_thread ? "the crashed thread" : "thread " + std::to_string(event.thread);
  return Shortened(text) + "  (" + thread + ")";
}

class TraceReader {
 public:
  TraceReader(std::optional<int64_t> crash_micros, const Thread* crashed)
      : last_(crash_micros), crashed_(crashed) {}

  void Take(std::string_view line) {
    TraceLine event;
    if (!ReadTraceLine(line, &event)) return;
    const int64_t calendar = CalendarOf(event);
    if (calendar >= 0) {
      shift_ = calendar - event.micros;
      return;
    }
    if (shift_ && last_.IsBehind(event.micros + *shift_)) return;
    const bool crashed = crashed_ != nullptr && crashed_->number == event.thread;
    last_.Add({event.micros, true, crashed, EventText(event, crashed)});
  }
  void MoveTo(TimelineRows* rows) {
    rows->dated = shift_.has_value();
    if (!shift_) {
      rows->notes.emplace_back(
          "it does not tell the calendar time: times are before its last event");
    }
    last_.MoveTo(rows, shift_.value_or(0));
  }

 private:
  LastRows last_;
  const Thread* const crashed_;
  // From the trace's clock to the calendar, by the last event that tells.
  std::optional<int64_t> shift_;
};

template <class Reader>
void ReadFile(const std::string& path, Reader reader, TimelineRows* rows, Timeline* timeline) {
  if (path.empty()) return;
  rows->given = true;
  bool part = false;
  std::string error;
  if (!ReadLines(
          path, [&](std::string_view line) { reader.Take(line); }, &part, &error)) {
    timeline->problems.push_back(path + ": " + error);
    return;
  }
  if (part) rows->notes.emplace_back("it is large: only its end was read");
  reader.MoveTo(rows);
}

}  // namespace

Timeline MakeTimeline(const Report& report, const TimelineOptions& options) {
  Timeline timeline;
  ReadCrashTime(report, options, &timeline);
  ReadFile(options.log, LogReader(timeline.crash_micros), &timeline.log, &timeline);
  ReadFile(options.trace, TraceReader(timeline.crash_micros, report.CrashThread()), &timeline.trace,
           &timeline);
  return timeline;
}

bool ReadUtcOffset(const std::string& text, int* minutes) {
  constexpr uint64_t kMostHours = 18;
  *minutes = 0;
  if (text == "Z") return true;
  if (text.empty() || (text[0] != '+' && text[0] != '-')) return false;
  std::string_view rest = std::string_view(text).substr(1);
  size_t digits = 0;
  uint64_t hours = LeadingNumber(rest, 10, &digits);
  rest.remove_prefix(digits);
  uint64_t more = 0;
  if (digits == 4 && rest.empty()) {
    more = hours % 100;
    hours /= 100;
  } else if (digits == 0 || digits > 2) {
    return false;
  } else if (!rest.empty()) {
    if (rest.size() != 3 || rest[0] != ':') return false;
    more = LeadingNumber(rest.substr(1), 10, &digits);
    if (digits != 2) return false;
  }
  if (hours > kMostHours || more > 59 || (hours == kMostHours && more > 0)) return false;
  const int size = static_cast<int>(hours * 60 + more);
  *minutes = text[0] == '-' ? -size : size;
  return true;
}

std::string CalendarText(int64_t micros) {
  std::string text = rtc::CalendarTimePrefix(micros);
  text[10] = ' ';
  return text.substr(0, text.find('Z'));
}

}  // namespace oru_report
