// Every set of kernels beside the plain one.
#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "tests/support/guarded_buffer.h"

namespace rtc::string_encode_internal {

void PrintTo(const EncodeKernels* kernels, std::ostream* out) { *out << kernels->name; }

}  // namespace rtc::string_encode_internal

namespace {

using oru_test::GuardedBuffer;
using rtc::string_encode_internal::EncodeKernels;
using rtc::string_encode_internal::kPlainKernels;
using rtc::string_encode_internal::Progress;
using rtc::string_encode_internal::SupportedKernels;

// Bytes of which about one in `rarity` comes from `special`.
std::string Source(std::mt19937* random, size_t length, const char* special, unsigned rarity) {
  const size_t count = std::strlen(special);
  std::string source;
  for (size_t i = 0; i < length; ++i) {
    const auto draw = static_cast<unsigned>((*random)());
    source += draw % rarity == 0 ? special[(draw >> 8) % count]
                                 : static_cast<char>('a' + (draw >> 8) % 26);
  }
  return source;
}

class Kernels : public testing::TestWithParam<const EncodeKernels*> {
 protected:
  // Both sets over sources of all lengths to 200 and several densities, at rooms around the result.
  void CompareProgress(Progress (*EncodeKernels::*kernel)(char*, size_t, const char*, size_t),
                       const char* special) {
    std::mt19937 random(11);
    for (const unsigned rarity : {1U, 2U, 5U, 50U, 1000000U}) {
      for (size_t length = 0; length < 200; ++length) {
        const std::string source = Source(&random, length, special, rarity);
        for (const size_t room : {length * 3, length, length / 2, random() % (length * 3 + 1)}) {
          GuardedBuffer expected(room);
          GuardedBuffer actual(room);
          const Progress plain =
              (kPlainKernels.*kernel)(expected.data(), room, source.data(), length);
          const Progress fast = (GetParam()->*kernel)(actual.data(), room, source.data(), length);
          ASSERT_EQ(plain.read, fast.read) << source << " " << room;
          ASSERT_EQ(plain.written, fast.written) << source << " " << room;
          ASSERT_EQ(expected.Text(plain.written), actual.Text(fast.written));
          ASSERT_TRUE(actual.Intact());
        }
      }
    }
  }
};

TEST_P(Kernels, HexEncode) {
  std::mt19937 random(1);
  for (size_t length = 0; length < 300; ++length) {
    std::string source;
    while (source.size() < length) source += static_cast<char>(random());
    GuardedBuffer expected(2 * length);
    GuardedBuffer actual(2 * length);
    kPlainKernels.hex_encode(expected.data(), source.data(), length);
    GetParam()->hex_encode(actual.data(), source.data(), length);
    ASSERT_EQ(expected.Text(2 * length), actual.Text(2 * length));
    ASSERT_TRUE(actual.Intact());
  }
}

TEST_P(Kernels, HexDecode) {
  std::mt19937 random(2);
  for (const unsigned rarity : {3U, 200U, 1000000U}) {
    for (size_t pairs = 0; pairs < 300; ++pairs) {
      const std::string source = Source(&random, pairs * 2, "09AFafGZgz-:/@[`{\xFF", rarity);
      GuardedBuffer expected(pairs);
      GuardedBuffer actual(pairs);
      const size_t good = kPlainKernels.hex_decode(expected.data(), source.data(), pairs);
      ASSERT_EQ(good, GetParam()->hex_decode(actual.data(), source.data(), pairs));
      ASSERT_EQ(expected.Text(good), actual.Text(good));
      ASSERT_TRUE(actual.Intact());
    }
  }
}

TEST_P(Kernels, UrlEncode) {
  CompareProgress(&EncodeKernels::url_encode,
                  "\x01\x1F !\"#$%&'()*+,-./09:;<=>?@AZ[\\]^_`{|}~\x7F\x80\xFF");
}

TEST_P(Kernels, UrlDecode) {
  CompareProgress(&EncodeKernels::url_decode, "%%%%%%++0aFgZ-/:@[`{\xFF");
}

TEST_P(Kernels, CopyOrdinary) {
  std::mt19937 random(5);
  for (const bool stop_at_high : {false, true}) {
    for (const unsigned rarity : {5U, 60U, 1000000U}) {
      for (size_t length = 0; length < 200; ++length) {
        const std::string source = Source(&random, length, "\"&'<>!#%(;=?\x80\xA2\xA6\xFF", rarity);
        GuardedBuffer expected(length);
        GuardedBuffer actual(length);
        const size_t run =
            kPlainKernels.copy_ordinary(expected.data(), source.data(), length, stop_at_high);
        ASSERT_EQ(run,
                  GetParam()->copy_ordinary(actual.data(), source.data(), length, stop_at_high));
        ASSERT_EQ(expected.Text(run), actual.Text(run));
        ASSERT_TRUE(actual.Intact());
      }
    }
  }
}

TEST_P(Kernels, FindAll) {
  std::mt19937 random(6);
  for (const unsigned rarity : {1U, 4U, 40U, 1000000U}) {
    for (size_t length = 0; length < 300; ++length) {
      const std::string source = Source(&random, length, ",", rarity);
      std::vector<uint16_t> expected(length + 1, 0xA5A5);
      std::vector<uint16_t> actual(length + 1, 0xA5A5);
      const size_t found = kPlainKernels.find_all(expected.data(), source.data(), length, ',');
      ASSERT_EQ(found, GetParam()->find_all(actual.data(), source.data(), length, ','));
      ASSERT_EQ(expected, actual);
    }
  }
}

// Each byte value at each place of a vector.
TEST_P(Kernels, EveryByteAtEveryPlace) {
  for (int byte = 0; byte < 256; ++byte) {
    for (size_t place = 0; place < 48; ++place) {
      std::string source(48, 'x');
      source[place] = static_cast<char>(byte);
      char expected[160];
      char actual[160];
      Progress plain = kPlainKernels.url_encode(expected, sizeof(expected), source.data(), 48);
      Progress fast = GetParam()->url_encode(actual, sizeof(actual), source.data(), 48);
      ASSERT_EQ(std::string(expected, plain.written), std::string(actual, fast.written));
      plain = kPlainKernels.url_decode(expected, sizeof(expected), source.data(), 48);
      fast = GetParam()->url_decode(actual, sizeof(actual), source.data(), 48);
      ASSERT_EQ(std::string(expected, plain.written), std::string(actual, fast.written));
      for (const bool high : {false, true}) {
        ASSERT_EQ(kPlainKernels.copy_ordinary(expected, source.data(), 48, high),
                  GetParam()->copy_ordinary(actual, source.data(), 48, high));
      }
    }
  }
}

// Each pair of characters behind a percent sign, at each place of a vector.
TEST_P(Kernels, EveryPairBehindAPercentSign) {
  for (int high = 0; high < 256; ++high) {
    for (int low = 0; low < 256; ++low) {
      std::string source(48, 'x');
      const size_t place = static_cast<size_t>(high * 7 + low) % 46;
      source[place] = '%';
      source[place + 1] = static_cast<char>(high);
      source[place + 2] = static_cast<char>(low);
      char expected[64];
      char actual[64];
      const Progress plain =
          kPlainKernels.url_decode(expected, sizeof(expected), source.data(), 48);
      const Progress fast = GetParam()->url_decode(actual, sizeof(actual), source.data(), 48);
      ASSERT_EQ(std::string(expected, plain.written), std::string(actual, fast.written));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Supported, Kernels, testing::ValuesIn(SupportedKernels()),
                         [](const testing::TestParamInfo<const EncodeKernels*>& info) {
                           return info.param->name;
                         });

TEST(BestKernels, AreTheLastOfTheSupported) {
  EXPECT_EQ(SupportedKernels().back(), &rtc::string_encode_internal::BestKernels());
}

}  // namespace
