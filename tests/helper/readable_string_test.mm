#import "helper/readable_string.h"

#include <gtest/gtest.h>

#include <string>

#include "helper/readable_text.h"

namespace {

std::string Encode(unsigned code) {
  const auto byte = [](unsigned value) { return static_cast<char>(value); };
  const auto tail = [&](unsigned shift) { return byte(0x80 | ((code >> shift) & 0x3F)); };
  if (code < 0x80) return {byte(code)};
  if (code < 0x800) return {byte(0xC0 | code >> 6), tail(0)};
  if (code < 0x10000) return {byte(0xE0 | code >> 12), tail(6), tail(0)};
  return {byte(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
}

// What counts as UTF-8 here must be what Foundation takes: it ends the process over the rest.
TEST(ReadableString, FoundationTakesEveryCodePoint) {
  for (unsigned code = 1; code <= 0x10FFFF; ++code) {
    if (code >= 0xD800 && code <= 0xDFFF) continue;
    @autoreleasepool {
      const std::string text = "a" + Encode(code) + "b";
      ASSERT_TRUE(IsUtf8(text.c_str())) << code;
      NSString *string = [NSString stringWithUTF8String:text.c_str()];
      ASSERT_TRUE(string != nil) << code;
      ASSERT_EQ(text, [string UTF8String]) << code;
    }
  }
}

TEST(ReadableString, IsNeverNil) {
  @autoreleasepool {
    for (const char *text : {"", "a", "\xff", "\xed\xa0\x80", "\xc0\x80", "\xf4\x90\x80\x80"}) {
      EXPECT_TRUE(ReadableString(text) != nil);
    }
    EXPECT_TRUE([ReadableString("\xff%") isEqualToString:@"\\xFF%"]);
  }
}

}  // namespace
