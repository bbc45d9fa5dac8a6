// The rule of generated identifiers once more, another way than the product's.
#ifndef TESTS_SUPPORT_IDENTIFIER_REFERENCE_H_
#define TESTS_SUPPORT_IDENTIFIER_REFERENCE_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace oru_test {

// The hash in 64-bit steps cut to 32 bits.
inline uint32_t ApHash(const std::string& text) {
  uint64_t hash = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    // A signed character, widened to 32 bits.
    const auto byte = static_cast<unsigned char>(text[i]);
    const uint64_t ch = byte < 0x80 ? byte : 0xFFFFFF00U | byte;
    const uint64_t mixed = i % 2 == 0 ? (hash * 128) ^ ch ^ (hash / 8)
                                      : 0xFFFFFFFF ^ ((hash * 2048) ^ ch ^ (hash / 32));
    hash = (hash ^ mixed) & 0xFFFFFFFF;
  }
  return static_cast<uint32_t>(hash & 0x7FFFFFFF);
}

constexpr char kIdentifierAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// The hash's digits, then what std::rand() gives. `count` is what the function's counter of random
// characters stands at before the call.
inline std::string Identifier(uint32_t hash, size_t length, uint32_t count = 1) {
  std::string text;
  while (text.size() < length) {
    if (hash != 0) {
      text += kIdentifierAlphabet[hash % 62];
      hash /= 62;
    } else {
      text += kIdentifierAlphabet[(static_cast<uint32_t>(std::rand()) + ++count) % 62];
    }
  }
  return text;
}

}  // namespace oru_test

#endif  // TESTS_SUPPORT_IDENTIFIER_REFERENCE_H_
