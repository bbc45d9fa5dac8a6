#include "utils/shared_random.h"

#include <cstddef>
#include <cstdlib>

namespace tessik::shared {

namespace {

// In spite of its name it has 62 characters.
constexpr char BASE64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr uint32_t kAlphabet = sizeof(BASE64) - 1;

}  // namespace

int32_t ApHash(const char* text) {
  uint32_t hash = 0;
  for (size_t i = 0; text[i] != '\0'; ++i) {
    // Characters are signed, whatever the processor's `char` is.
    const auto ch = static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(text[i])));
    if (i % 2 == 0) {
      hash ^= (hash << 7) ^ ch ^ (hash >> 3);
    } else {
      hash ^= ~((hash << 11) ^ ch ^ (hash >> 5));
    }
  }
  return static_cast<int32_t>(hash & 0x7fffffff);
}

std::string RandomFromKey(RandomCounters* counters, int64_t now, uint64_t length,
                          const std::string& key) {
  const uint32_t num = counters->num.fetch_add(1, std::memory_order_relaxed);
  std::srand(num + static_cast<uint32_t>(now));

  const auto count = static_cast<int32_t>(length);
  std::string result;
  if (count <= 0) return result;
  result.reserve(static_cast<size_t>(count));
  auto hash = static_cast<uint32_t>(ApHash(key.c_str()));
  for (int32_t i = 0; i < count; ++i) {
    if (hash != 0) {
      result += BASE64[hash % kAlphabet];
      hash /= kAlphabet;
      continue;
    }
    const uint32_t random_count =
        counters->RANDOM_COUNT.fetch_add(1, std::memory_order_relaxed) + 1;
    // The generator is the C library's on purpose: its output for a seed is relied on.
    const auto random = static_cast<uint32_t>(std::rand());
    result += BASE64[(random + random_count) % kAlphabet];
  }
  return result;
}

}  // namespace tessik::shared
