// Every buffer function at every capacity, beside the reference, between canaries.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/string_encode_reference.h"

namespace {

using oru_test::EncodeCase;
using oru_test::GuardedBuffer;

// Dense in everything that some function treats specially.
std::string RandomSource(std::mt19937* random, size_t length) {
  static const char* const kPieces[] = {"a",
                                        "g",
                                        "Z",
                                        "0",
                                        "9",
                                        "%",
                                        "%4",
                                        "%41",
                                        "%gz",
                                        "+",
                                        " ",
                                        "&",
                                        "<",
                                        "'",
                                        "\"",
                                        ">",
                                        "&lt;",
                                        "&#65;",
                                        "&#x4;",
                                        "&#;",
                                        "&amp;",
                                        "\xC3\xA9",
                                        "\xE2\x82",
                                        "\xFF",
                                        "\xF0\x9F\x98\x80",
                                        "\\",
                                        ":",
                                        "abcd",
                                        ";",
                                        "&apos;",
                                        "&quot;",
                                        "plain text without anything",
                                        "\x7F"};
  std::uniform_int_distribution<size_t> pick(0, std::size(kPieces) - 1);
  std::string source;
  while (source.size() < length) source += kPieces[pick(*random)];
  source.resize(length);
  return source;
}

void CheckAtEveryCapacity(const EncodeCase& entry, const std::string& source) {
  const oru_test::Units units = entry.units(source);
  const size_t full = oru_test::Join(units).size() + 1;
  for (size_t capacity = 0; capacity <= full + 1; ++capacity) {
    GuardedBuffer buffer(capacity);
    const size_t length = entry.function(buffer.data(), capacity, source.data(), source.size());
    ASSERT_TRUE(buffer.Intact()) << capacity;
    if (capacity == 0) {
      ASSERT_EQ(0U, length);
      continue;
    }
    ASSERT_EQ(oru_test::Fit(units, capacity), buffer.Text(length)) << capacity << " " << source;
    ASSERT_EQ('\0', buffer.data()[length]);
  }
}

class EveryBufferFunction : public testing::TestWithParam<EncodeCase> {};

TEST_P(EveryBufferFunction, KeepsToEveryCapacity) {
  std::mt19937 random(20240131);
  for (size_t length = 0; length < 80; ++length) {
    CheckAtEveryCapacity(GetParam(), RandomSource(&random, length));
    if (HasFatalFailure()) return;
  }
}

TEST_P(EveryBufferFunction, KeepsToEveryCapacityOnRandomBytes) {
  std::mt19937 random(7);
  for (size_t length = 1; length < 70; ++length) {
    std::string source;
    while (source.size() < length) source += static_cast<char>(random() & 0xFF);
    CheckAtEveryCapacity(GetParam(), source);
    if (HasFatalFailure()) return;
  }
}

TEST_P(EveryBufferFunction, AgreesWithTheReferenceOnLongSources) {
  std::mt19937 random(99);
  for (int round = 0; round < 200; ++round) {
    const std::string source = RandomSource(&random, random() % 2000);
    const oru_test::Units units = GetParam().units(source);
    const size_t capacity = 1 + random() % (oru_test::Join(units).size() + 40);
    GuardedBuffer buffer(capacity);
    const size_t length =
        GetParam().function(buffer.data(), capacity, source.data(), source.size());
    ASSERT_TRUE(buffer.Intact());
    ASSERT_EQ(oru_test::Fit(units, capacity), buffer.Text(length));
  }
}

INSTANTIATE_TEST_SUITE_P(All, EveryBufferFunction, testing::ValuesIn(oru_test::EncodeCases()),
                         [](const testing::TestParamInfo<EncodeCase>& info) {
                           return info.param.name;
                         });

TEST(HexCapacity, EncodesOnlyIntoEnoughRoom) {
  std::mt19937 random(3);
  for (const char delimiter : {'\0', ':'}) {
    for (size_t length = 1; length < 70; ++length) {
      const std::string source = RandomSource(&random, length);
      const std::string expected = oru_test::HexOf(source, delimiter);
      for (size_t capacity = 0; capacity <= expected.size() + 2; ++capacity) {
        GuardedBuffer buffer(capacity);
        const size_t written = rtc::hex_encode_with_delimiter(buffer.data(), capacity,
                                                              source.data(), length, delimiter);
        ASSERT_TRUE(buffer.Intact());
        if (capacity <= expected.size()) {
          ASSERT_EQ(0U, written);
          ASSERT_TRUE(buffer.Untouched());
          continue;
        }
        ASSERT_EQ(expected, buffer.Text(written));
        ASSERT_EQ('\0', buffer.data()[written]);
      }
    }
  }
}

TEST(HexCapacity, DecodesOnlyIntoEnoughRoom) {
  std::mt19937 random(4);
  for (const char delimiter : {'\0', ':'}) {
    for (size_t length = 1; length < 70; ++length) {
      const std::string bytes = RandomSource(&random, length);
      const std::string source = oru_test::HexOf(bytes, delimiter);
      for (size_t capacity = 0; capacity <= length + 1; ++capacity) {
        GuardedBuffer buffer(capacity);
        const size_t written = rtc::hex_decode_with_delimiter(
            buffer.data(), capacity, source.data(), source.size(), delimiter);
        ASSERT_TRUE(buffer.Intact());
        ASSERT_EQ(capacity < length ? 0U : length, written);
        if (written != 0) {
          ASSERT_EQ(bytes, buffer.Text(written));
        }
      }
    }
  }
}

TEST(HexCapacity, OneBadCharacterAnywhereRefusesAll) {
  for (size_t length = 2; length <= 140; length += 2) {
    for (size_t bad = 0; bad < length; ++bad) {
      for (const char ch : {'/', ':', '@', '[', '`', '{', '\0', '\x80', '\xFF', ' '}) {
        std::string source(length, 'b');
        source[bad] = ch;
        GuardedBuffer buffer(length / 2);
        ASSERT_EQ(0U, rtc::hex_decode(buffer.data(), length / 2, source)) << bad;
        ASSERT_TRUE(buffer.Intact());
      }
    }
  }
}

TEST(HexCapacity, EveryPairOfCharacters) {
  for (int high = 0; high < 256; ++high) {
    for (int low = 0; low < 256; ++low) {
      const std::string pair = {static_cast<char>(high), static_cast<char>(low)};
      // Long enough for the widest vector, the pair in its middle.
      const std::string source = std::string(40, 'A') + pair + std::string(40, '7');
      std::string expected;
      const bool good = oru_test::BytesOfHex(source, '\0', &expected);
      char buffer[64];
      const size_t written = rtc::hex_decode(buffer, sizeof(buffer), source);
      ASSERT_EQ(good ? 41U : 0U, written);
      if (good) {
        ASSERT_EQ(expected, std::string(buffer, written));
      }
    }
  }
}

}  // namespace
