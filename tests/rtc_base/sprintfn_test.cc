#include "media_core/common/webrtc/rtc_base/sprintfn.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Sprintfn, ReturnsTheLengthOfWhatFits) {
  char buffer[8];
  EXPECT_EQ(rtc::sprintfn(buffer, sizeof(buffer), "%d-%s", 12, "ab"), 5u);
  EXPECT_STREQ(buffer, "12-ab");
}

TEST(Sprintfn, TextThatJustFitsIsWhole) {
  char buffer[6];
  EXPECT_EQ(rtc::sprintfn(buffer, sizeof(buffer), "12345"), 5u);
  EXPECT_STREQ(buffer, "12345");
}

TEST(Sprintfn, LongerTextIsCutAndTerminated) {
  char buffer[6];
  memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(rtc::sprintfn(buffer, 5, "%s", "12345"), 4u);
  EXPECT_STREQ(buffer, "1234");
  EXPECT_EQ(buffer[5], 'x') << "written past the given length";
}

TEST(Sprintfn, BufferOfOneByteGetsTheTerminator) {
  char buffer[1] = {'x'};
  EXPECT_EQ(rtc::sprintfn(buffer, 1, "abc"), 0u);
  EXPECT_EQ(buffer[0], '\0');
}

TEST(Sprintfn, BufferOfNoBytesIsLeftAlone) {
  char buffer[1] = {'x'};
  EXPECT_EQ(rtc::sprintfn(buffer, 0, "%s", "abc"), 0u);
  EXPECT_EQ(buffer[0], 'x');
}

}  // namespace
