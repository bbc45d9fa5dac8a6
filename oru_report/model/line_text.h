// Small readers that the report's lines share.
#ifndef ORU_REPORT_MODEL_LINE_TEXT_H_
#define ORU_REPORT_MODEL_LINE_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace oru_report {

bool StartsWith(std::string_view text, std::string_view prefix);
bool EndsWith(std::string_view text, std::string_view suffix);
bool Contains(std::string_view text, std::string_view part);

// Without blanks at both ends.
std::string_view Trim(std::string_view text);

// Reads "0x" and hexadecimal digits at `at`; moves `at` behind them. Digits beyond 64 bits give the
// greatest number. False, and `at` as before, when there are none.
bool ReadHex(std::string_view text, size_t* at, uint64_t* value);

// The number that `text` begins with, in base 10 or 16; 0 when it begins with none, the greatest
// when it does not fit. `digits` (may be null) gets their count.
uint64_t LeadingNumber(std::string_view text, unsigned base, size_t* digits = nullptr);

// The first line of `*rest` without its end, which is taken from `*rest`. False when nothing is
// left.
bool TakeLine(std::string_view* rest, std::string_view* line);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_LINE_TEXT_H_
