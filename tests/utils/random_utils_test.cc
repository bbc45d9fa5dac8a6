#include "utils/random_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/support/identifier_reference.h"

namespace {

namespace utils = tessik::utils;

std::string Identifier(uint32_t seed, uint32_t hash, size_t length, uint32_t count = 1) {
  std::srand(seed);
  return oru_test::Identifier(hash, length, count);
}

TEST(ApHash, EmptyAndNullAreZero) {
  EXPECT_EQ(0, utils::APHash(""));
  EXPECT_EQ(0, utils::APHash(nullptr));
}
TEST(ApHash, OneCharacterIsItself) { EXPECT_EQ('a', utils::APHash("a")); }
TEST(ApHash, AgreesWithTheReferenceAndIsNeverNegative) {
  for (const char* text : {"ab", "abc", "key", "\xFF", "a\xC3\xA9", "session-0123456789"}) {
    EXPECT_EQ(oru_test::ApHash(text), static_cast<uint32_t>(utils::APHash(text))) << text;
    EXPECT_GE(utils::APHash(text), 0);
  }
}
TEST(ApHash, CharactersAreSigned) {
  EXPECT_EQ(0x7FFFFFFF, utils::APHash("\xFF"));
  EXPECT_EQ(0x7FFFFF80, utils::APHash("\x80"));
}

TEST(RandomString, HashDigitsThenRandomCharacters) {
  const time_t before = std::time(nullptr);
  // Long enough for every character of the alphabet to come up.
  const std::string actual = utils::randomString(2050, 2000, "user");
  bool found = false;
  for (time_t now = before; now <= std::time(nullptr); ++now) {
    const auto hash = oru_test::ApHash("user");
    found = found || actual == Identifier(static_cast<uint32_t>(now) + 2, hash, 2000);
  }
  EXPECT_TRUE(found) << actual;
}
TEST(RandomString, ShortLengthCutsTheHash) {
  const std::string longer = utils::randomString(0, 12, "user");
  EXPECT_EQ(longer.substr(0, 3), utils::randomString(0, 3, "user"));
}
TEST(RandomString, KeepsItsCountersApartFromTheCrashModules) {
  CrashHandler::GenerateRandomString(500, 10, "");
  const time_t before = std::time(nullptr);
  const std::string actual = utils::randomString(0, 30, "");
  bool found = false;
  for (time_t now = before; now <= std::time(nullptr); ++now) {
    found = found || actual == Identifier(static_cast<uint32_t>(now), 0, 30);
  }
  EXPECT_TRUE(found) << actual;
}
TEST(RandomString, LengthThatIsNotPositiveGivesNothing) {
  EXPECT_EQ("", utils::randomString(0, 0, "user"));
  EXPECT_EQ("", utils::randomString(0, 0xFFFFFFFFU, "user"));
}

class FixedClock : public rtc::ClockInterface {
 public:
  FixedClock() { rtc::SetClockForTesting(this); }
  ~FixedClock() override { rtc::SetClockForTesting(nullptr); }
  int64_t TimeNanos() const override { return 1234567890123LL * 1000000; }
};

TEST(RandomStringForSignal, IsSeededByTheClockInMilliseconds) {
  const FixedClock clock;
  const auto now = static_cast<uint32_t>(1234567890123LL);
  const auto hash = oru_test::ApHash("user");
  EXPECT_EQ(Identifier(now + 2, hash, 30), utils::randomStringForSignal(2050, 30, "user"));
}
TEST(RandomStringForSignal, CounterMovesOnAndKeepsItsFirstSeed) {
  const FixedClock clock;
  EXPECT_EQ("", utils::randomStringForSignal(-5, 0, ""));
  const auto now = static_cast<uint32_t>(1234567890123LL);
  EXPECT_EQ(Identifier(now - 4, 0, 30), utils::randomStringForSignal(77, 30, ""));
}
TEST(RandomStringForSignal, CountsItsRandomCharactersOverAllCalls) {
  const FixedClock clock;
  const auto now = static_cast<uint32_t>(1234567890123LL);
  EXPECT_EQ(Identifier(now, 0, 30), utils::randomStringForSignal(0, 30, ""));
  EXPECT_EQ(Identifier(now + 1, 0, 30, 31), utils::randomStringForSignal(0, 30, ""));
  // The two digits of the hash are no random characters.
  EXPECT_EQ(Identifier(now + 2, 'a', 9, 61), utils::randomStringForSignal(0, 9, "a"));
  EXPECT_EQ(Identifier(now + 3, 0, 30, 68), utils::randomStringForSignal(0, 30, ""));
}
TEST(RandomStringForSignal, KeepsItsCountersApartFromRandomString) {
  const FixedClock clock;
  utils::randomString(500, 10, "");
  const auto now = static_cast<uint32_t>(1234567890123LL);
  EXPECT_EQ(Identifier(now, 0, 30), utils::randomStringForSignal(0, 30, ""));
}

TEST(CreateRandomString, ZeroLengthIsEmpty) { EXPECT_EQ("", utils::createRandomString(0)); }
TEST(CreateRandomString, IsSeededByTheSecond) {
  const std::string table = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789zyxwvutsrqponmlkjihgfedcba";
  const time_t before = std::time(nullptr);
  // Long enough for every character of the table to come up.
  const std::string actual = utils::createRandomString(2000);
  bool found = false;
  for (time_t now = before; now <= std::time(nullptr); ++now) {
    std::srand(static_cast<unsigned>(now));
    std::string expected;
    while (expected.size() < 2000) expected += table[static_cast<size_t>(std::rand()) % 62];
    found = found || expected == actual;
  }
  EXPECT_TRUE(found) << actual;
}

}  // namespace
