// The identifiers that the crash support and the general utilities generate. Not for other users.
#ifndef UTILS_SHARED_RANDOM_H_
#define UTILS_SHARED_RANDOM_H_

#include <atomic>
#include <cstdint>
#include <string>

namespace tessik::shared {

// Arash Partow's string hash over the characters before the terminating zero, its low 31 bits.
int32_t ApHash(const char* text);

// What one generating function remembers between its calls. Atomic so that threads may generate at
// once; they may then get the same characters.
struct RandomCounters {
  // `first_seed` is the seed of the function's first call.
  explicit RandomCounters(int64_t first_seed) : num(static_cast<uint32_t>(first_seed % 1024)) {}

  std::atomic<uint32_t> num;
  std::atomic<uint32_t> RANDOM_COUNT{1};
};

// Seeds `rand` with the counter and `now`, then emits `length` (as a signed 32-bit count)
// characters: the hash of `key` to the base 62, its lowest digit first, then random ones.
std::string RandomFromKey(RandomCounters* counters, int64_t now, uint64_t length,
                          const std::string& key);

}  // namespace tessik::shared

#endif  // UTILS_SHARED_RANDOM_H_
