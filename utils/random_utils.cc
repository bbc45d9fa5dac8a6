#include "utils/random_utils.h"

#include <cstdlib>
#include <ctime>

#include "utils/shared_random.h"

namespace tessik {
namespace utils {

namespace {

// The digits stand before the reversed lower case: another order than that of the keyed
// identifiers.
constexpr char TABLE[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789zyxwvutsrqponmlkjihgfedcba";
constexpr size_t kTableSize = sizeof(TABLE) - 1;

}  // namespace

int32_t APHash(const char* text) { return text == nullptr ? 0 : tessik::shared::ApHash(text); }

std::string randomString(int64_t seed, uint64_t length, const std::string& key) {
  static tessik::shared::RandomCounters counters(seed);
  return tessik::shared::RandomFromKey(&counters, std::time(nullptr), length, key);
}

std::string createRandomString(uint64_t length) {
  std::string result;
  if (length == 0) return result;
  std::srand(static_cast<unsigned int>(std::time(nullptr)));
  result.reserve(length);
  for (uint64_t i = 0; i < length; ++i) {
    result += TABLE[static_cast<size_t>(std::rand()) % kTableSize];
  }
  return result;
}

}  // namespace utils
}  // namespace tessik
