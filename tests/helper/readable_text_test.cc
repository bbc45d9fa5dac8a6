#include "helper/readable_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(IsUtf8, AcceptsTheBoundsOfEveryLength) {
  for (const char* text :
       {"", "a", "\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
        "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_TRUE(IsUtf8(text)) << text;
  }
}

TEST(IsUtf8, RefusesWhatNoEncoderWrites) {
  for (const char* text :
       {"\x80", "\xbf", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf", "\xed\xa0\x80",
        "\xed\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xfe", "\xff"}) {
    EXPECT_FALSE(IsUtf8(text));
  }
}

TEST(IsUtf8, RefusesSequencesCutShort) {
  for (const char* text : {"\xc2", "\xc2z", "\xe1", "\xe1\x80", "\xe1\x80z", "\xf1", "\xf1\x80",
                           "\xf1\x80\x80", "\xf1\x80\x80z"}) {
    EXPECT_FALSE(IsUtf8(text));
  }
}

TEST(ReadableText, LeavesUtf8Unchanged) {
  EXPECT_EQ(ReadableText(""), "");
  EXPECT_EQ(ReadableText("a\\b\\xFF \xe2\x98\x83\n%s"), "a\\b\\xFF \xe2\x98\x83\n%s");
}

TEST(ReadableText, NamesOtherBytesAndDoublesBackslashes) {
  EXPECT_EQ(ReadableText("\xff"), "\\xFF");
  EXPECT_EQ(ReadableText("a\\\x80\xc3\xa9\xc3"), "a\\\\\\x80\xc3\xa9\\xC3");
}

TEST(ReadableText, KeepsDifferentBytesApart) {
  EXPECT_NE(ReadableText("\xff\\xFE"), ReadableText("\xff\xfe"));
}

}  // namespace
