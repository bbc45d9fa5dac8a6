#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "oru_report/render/render.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

constexpr int64_t kMicrosPerSecond = 1000000;

// "-1.250 s", with that many digits behind the point.
std::string SecondsText(int64_t micros, int digits) {
  char text[64];
  snprintf(text, sizeof text, "%.*f s", digits,
           static_cast<double>(micros) / static_cast<double>(kMicrosPerSecond));
  return text;
}

class TimelinePage {
 public:
  TimelinePage(const Timeline& timeline, Output* output) : timeline_(timeline), output_(*output) {}

  void Write() {
    WriteMoment();
    WriteNotes("the log", timeline_.log);
    WriteNotes("the trace", timeline_.trace);
    if (timeline_.log.dated && timeline_.trace.dated) {
      WriteTogether();
    } else {
      WriteRows(timeline_.log);
      WriteRows(timeline_.trace);
    }
  }

 private:
  void WriteMoment() {
    if (!timeline_.crash_micros) {
      output_ << "  (the report does not tell its time: these are the last)\n";
      return;
    }
    output_ << "  (the report's time is taken as " << timeline_.zone << ": it crashed at "
            << CalendarText(*timeline_.crash_micros) << " UTC; times are UTC)\n";
  }
  void WriteNotes(const char* name, const TimelineRows& rows) {
    for (const std::string& note : rows.notes) {
      output_ << "  (" << name << ": " << ForTerminal(note) << ")\n";
    }
  }
  void WriteTogether() {
    std::vector<const TimelineRow*> rows;
    for (const TimelineRows* list : {&timeline_.log, &timeline_.trace}) {
      for (const TimelineRow& row : list->rows) rows.push_back(&row);
    }
    std::stable_sort(rows.begin(), rows.end(), [](const TimelineRow* a, const TimelineRow* b) {
      return a->micros < b->micros;
    });
    for (const TimelineRow* row : rows) WriteRow(*row, true, 0);
  }
  void WriteRows(const TimelineRows& list) {
    for (const TimelineRow& row : list.rows) WriteRow(row, list.dated, list.rows.back().micros);
  }
  // `end`: the time of the last event of a trace without a calendar.
  void WriteRow(const TimelineRow& row, bool dated, int64_t end) {
    char times[96] = "";
    if (dated) {
      const int64_t before = timeline_.crash_micros ? row.micros - *timeline_.crash_micros : 0;
      snprintf(times, sizeof times, "%s %12s  ", CalendarText(row.micros).substr(11).c_str(),
               timeline_.crash_micros ? SecondsText(before, 3).c_str() : "");
    } else if (row.from_trace) {
      snprintf(times, sizeof times, "%14s  ", SecondsText(row.micros - end, 6).c_str());
    }
    output_ << "  " << times << (row.from_trace ? "trace  " : "log    ") << ForTerminal(row.text)
            << "\n";
  }

  const Timeline& timeline_;
  Output& output_;
};

}  // namespace

void RenderTimeline(const Timeline& timeline, Output* output) {
  TimelinePage(timeline, output).Write();
}

}  // namespace oru_report
