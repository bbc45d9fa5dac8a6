// Calendar times as reports and logs write them.
#ifndef ORU_REPORT_MODEL_CALENDAR_TIME_H_
#define ORU_REPORT_MODEL_CALENDAR_TIME_H_

#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

namespace oru_report {

// A time without a zone.
struct CalendarTime {
  std::tm fields = {};
  int millis = 0;

  // Microseconds since 1970 if it is UTC; nothing for a time that no calendar has.
  std::optional<int64_t> UtcMicros() const;
};

// What `text` begins with: "2024-03-05T07:08:09.123Z ", as in logs.
bool ReadLogTime(std::string_view text, CalendarTime* time);
constexpr size_t kLogTimeSize = 25;

// "2024-03-05 07:08:09 123" or without the last part, as in reports.
bool ReadReportTime(std::string_view text, CalendarTime* time);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_CALENDAR_TIME_H_
