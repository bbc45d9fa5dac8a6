// UTC times as text and in seconds. Any thread may call; nothing here reads or changes the time
// zone but the two functions that say so.
#ifndef UTILS_TIME_UTILS_H_
#define UTILS_TIME_UTILS_H_

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace tessik {
namespace utils {

// The time `offset` seconds from now in UTC, as "2024-01-31T08:05:09Z".
std::string GetUTCTimeString(int32_t offset);

// The fields of a text such as "2024-01-31T08:05:09Z" read as the machine's local time without
// daylight saving, in seconds since 1970: off from UTC by the machine's zone offset. The characters
// between the fields are ignored, as is anything from the 20th on; fields that are no numbers count
// as 0 and those out of their range carry over. A text shorter than 19 characters gives 0.
int64_t ConvertUTCTimeStringToTime(const std::string& text);

// The present UTC calendar time read as the machine's local time, in seconds since 1970.
int64_t GetUTCTimeWithoutTimeZone();

}  // namespace utils
}  // namespace tessik

#pragma GCC visibility pop

#endif  // UTILS_TIME_UTILS_H_
