#include "oru_report/model/calendar_time.h"

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace oru_report {
namespace {

// Digits where `form` has "0", the same character elsewhere.
bool HasForm(std::string_view text, std::string_view form) {
  if (text.size() < form.size()) return false;
  for (size_t i = 0; i < form.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (form[i] == '0' ? !digit : text[i] != form[i]) return false;
  }
  return true;
}

int Number(std::string_view text, size_t at, size_t digits) {
  int number = 0;
  for (const char c : text.substr(at, digits)) number = number * 10 + (c - '0');
  return number;
}

void ReadFields(std::string_view text, CalendarTime* time) {
  time->fields = {};
  time->fields.tm_year = Number(text, 0, 4) - 1900;
  time->fields.tm_mon = Number(text, 5, 2) - 1;
  time->fields.tm_mday = Number(text, 8, 2);
  time->fields.tm_hour = Number(text, 11, 2);
  time->fields.tm_min = Number(text, 14, 2);
  time->fields.tm_sec = Number(text, 17, 2);
}

}  // namespace

std::optional<int64_t> CalendarTime::UtcMicros() const {
  const int64_t seconds = rtc::TmToSeconds(fields);
  if (seconds < 0) return std::nullopt;
  return seconds * rtc::kNumMicrosecsPerSec + millis * rtc::kNumMicrosecsPerMillisec;
}

bool ReadLogTime(std::string_view text, CalendarTime* time) {
  if (!HasForm(text, "0000-00-00T00:00:00.000Z ")) return false;
  ReadFields(text, time);
  time->millis = Number(text, 20, 3);
  return true;
}

bool ReadReportTime(std::string_view text, CalendarTime* time) {
  if (!HasForm(text, "0000-00-00 00:00:00")) return false;
  ReadFields(text, time);
  time->millis = HasForm(text, "0000-00-00 00:00:00 000") ? Number(text, 20, 3) : 0;
  return true;
}

}  // namespace oru_report
