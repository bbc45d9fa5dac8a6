// Identifiers and the string hash they begin with. They use (and seed) the C library's `rand`,
// whose state is the process's own: other users of `rand` see it. Not suited for secrets. Any
// thread may call; two threads at once may get the same characters.
#ifndef UTILS_RANDOM_UTILS_H_
#define UTILS_RANDOM_UTILS_H_

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace tessik {
namespace utils {

// Arash Partow's string hash ("AP hash") over the characters before the terminating zero: its low
// 31 bits, never negative. A null pointer hashes as the empty string, to 0.
int32_t APHash(const char* text);

// An identifier of `length` characters of A-Z, a-z, 0-9: first APHash(key) to the base 62, its
// lowest digit first, then random characters. `length` is taken as a signed 32-bit count; nothing
// comes out when that is not positive. The first call's `seed` starts a counter of this function;
// every call seeds `rand` with that counter and the time in seconds and moves the counter on.
std::string randomString(int64_t seed, uint64_t length, const std::string& key);

// The same with counters of its own and with the milliseconds of the real-time clock
// (webrtc::Clock::GetRealTimeClock) as the time.
std::string randomStringForSignal(int64_t seed, uint64_t length, const std::string& key);

// `length` random characters of A-Z, 0-9, a-z; seeds `rand` with the time in seconds alone, so that
// calls in the same second give the same characters.
std::string createRandomString(uint64_t length);

}  // namespace utils
}  // namespace tessik

#pragma GCC visibility pop

#endif  // UTILS_RANDOM_UTILS_H_
