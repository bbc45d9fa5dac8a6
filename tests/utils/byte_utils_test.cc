#include "utils/byte_utils.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

namespace utils = tessik::utils;

TEST(ByteUtils, EightBytesGoRound) {
  unsigned char bytes[8];
  EXPECT_TRUE(utils::long2CharArr(0x0102030405060708, bytes, 8));
  const unsigned char expected[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(0, std::memcmp(expected, bytes, 8));
  EXPECT_EQ(0x0102030405060708, utils::charArr2Long(bytes, 8));
}
TEST(ByteUtils, TwoBytes) {
  const unsigned char bytes[] = {1, 2};
  EXPECT_EQ(258, utils::charArr2Long(bytes, 2));
}
TEST(ByteUtils, NegativeValuesGoRound) {
  for (const int64_t value : {INT64_MIN, int64_t{-1}, int64_t{-256}, INT64_MAX, int64_t{0}}) {
    unsigned char bytes[8];
    EXPECT_TRUE(utils::long2CharArr(value, bytes, 8));
    EXPECT_EQ(value, utils::charArr2Long(bytes, 8));
  }
}
TEST(ByteUtils, WritesEightBytesWhateverTheLength) {
  for (const int32_t length : {-1, 0, 1, 7, 9, 100}) {
    unsigned char bytes[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0xA5};
    EXPECT_TRUE(utils::long2CharArr(-2, bytes, length));
    EXPECT_EQ(0xFE, bytes[7]);
    EXPECT_EQ(0xFF, bytes[0]);
    EXPECT_EQ(0xA5, bytes[8]);
  }
}
TEST(ByteUtils, NullBufferIsRefusedForEightBytesOnly) {
  EXPECT_FALSE(utils::long2CharArr(1, nullptr, 8));
  EXPECT_TRUE(utils::long2CharArr(1, nullptr, 4));
}
TEST(ByteUtils, NullBufferOrNoLengthReadsZero) {
  const unsigned char bytes[] = {9};
  EXPECT_EQ(0, utils::charArr2Long(nullptr, 8));
  EXPECT_EQ(0, utils::charArr2Long(bytes, 0));
  EXPECT_EQ(0, utils::charArr2Long(bytes, -5));
}
TEST(ByteUtils, HighBytesAreUnsigned) {
  const unsigned char bytes[] = {0xFF, 0xFE};
  EXPECT_EQ(0xFFFE, utils::charArr2Long(bytes, 2));
}
TEST(ByteUtils, LeadingBytesBeyondEightFallOntoTheLowOnes) {
  const unsigned char bytes[] = {0x10, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(0x0102030405060718, utils::charArr2Long(bytes, 9));
}

}  // namespace
