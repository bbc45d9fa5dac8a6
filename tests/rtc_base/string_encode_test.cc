#include "media_core/common/webrtc/rtc_base/string_encode.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Runs a buffer function with more room than it needs.
std::string Apply(rtc::Transform function, const std::string& source) {
  char buffer[4096];
  const size_t length = function(buffer, sizeof(buffer), source.data(), source.size());
  EXPECT_EQ('\0', buffer[length]);
  return std::string(buffer, length);
}

std::string Utf8(unsigned long code) {
  char buffer[4];
  return std::string(buffer, rtc::utf8_encode(buffer, sizeof(buffer), code));
}

std::string Decode(const std::string& source, char escape) {
  char buffer[256];
  return std::string(buffer,
                     rtc::decode(buffer, sizeof(buffer), source.data(), source.size(), escape));
}

TEST(Escape, PrecedesIllegalCharactersAndItself) {
  char buffer[64];
  const std::string source = "a;b\\c";
  const size_t length =
      rtc::escape(buffer, sizeof(buffer), source.data(), source.size(), ";,", '\\');
  EXPECT_EQ("a\\;b\\\\c", std::string(buffer, length));
}

TEST(Escape, ZeroByteIsNotAnIllegalCharacter) {
  char buffer[64];
  const size_t length = rtc::escape(buffer, sizeof(buffer), "a\0b", 3, ";", '\\');
  EXPECT_EQ(std::string("a\0b", 3), std::string(buffer, length));
}

TEST(Escape, BothBytesOfAnEscapeFitOrNone) {
  char buffer[3];
  EXPECT_EQ(1U, rtc::escape(buffer, sizeof(buffer), "a;", 2, ";", '\\'));
  EXPECT_STREQ("a", buffer);
}

TEST(Unescape, YieldsTheByteBehindTheEscape) {
  char buffer[64];
  const size_t length = rtc::unescape(buffer, sizeof(buffer), "a\\;b\\\\c", 7, '\\');
  EXPECT_EQ("a;b\\c", std::string(buffer, length));
}

TEST(Unescape, CopiesAnEscapeAtTheEnd) {
  char buffer[64];
  const size_t length = rtc::unescape(buffer, sizeof(buffer), "ab\\", 3, '\\');
  EXPECT_EQ("ab\\", std::string(buffer, length));
}

TEST(Encode, WritesLowerCaseDigits) {
  char buffer[64];
  const size_t length = rtc::encode(buffer, sizeof(buffer), "a/b~", 4, "/\xFF", '~');
  EXPECT_EQ("a~2fb~7e", std::string(buffer, length));
}

TEST(Decode, YieldsTheByteOfTwoDigits) { EXPECT_EQ("a/b", Decode("a~2Fb", '~')); }
TEST(Decode, LetterBeyondFCountsInTheLowEightBits) { EXPECT_EQ("\x10", Decode("~gg", '~')); }
TEST(Decode, NonAlphanumericAfterTheEscapeLeavesIt) { EXPECT_EQ("~2-", Decode("~2-", '~')); }
TEST(Decode, EscapeWithOneDigitAtTheEndIsCopied) { EXPECT_EQ("a~2", Decode("a~2", '~')); }
TEST(Decode, PlusStaysPlus) { EXPECT_EQ("a+b", Decode("a+b", '~')); }

TEST(HexDigit, SixteenAndAboveIsAnExclamationMark) {
  for (unsigned value = 0; value < 256; ++value) {
    const char expected = value < 16 ? "0123456789abcdef"[value] : '!';
    EXPECT_EQ(expected, rtc::hex_encode(static_cast<unsigned char>(value)));
  }
}

TEST(HexDigit, EveryLetterHasAValue) {
  for (int ch = 0; ch < 256; ++ch) {
    unsigned char value = 99;
    const bool digit = ch >= '0' && ch <= '9';
    const bool upper = ch >= 'A' && ch <= 'Z';
    const bool lower = ch >= 'a' && ch <= 'z';
    EXPECT_EQ(digit || upper || lower, rtc::hex_decode(static_cast<char>(ch), &value));
    const int expected = digit ? ch - '0' : upper ? ch - 'A' + 10 : lower ? ch - 'a' + 10 : 99;
    EXPECT_EQ(expected, value);
  }
}

TEST(FileName, NoCharacterIsUnsafe) { EXPECT_STREQ("", rtc::unsafe_filename_characters()); }

TEST(FileName, ReplacesWhatSystemsRefuseButNotTheBar) {
  const std::string refused = "\"*/:<>?\\";
  for (int ch = 0; ch < 256; ++ch) {
    const bool replaced = ch < 32 || ch >= 0x80 || refused.find(static_cast<char>(ch)) < 99;
    const char expected = replaced ? '_' : static_cast<char>(ch);
    EXPECT_EQ(expected, rtc::make_char_safe_for_filename(static_cast<char>(ch))) << ch;
  }
  EXPECT_EQ('|', rtc::make_char_safe_for_filename('|'));
}

TEST(UrlEncode, SpaceBecomesPercentTwenty) { EXPECT_EQ("a%20b", Apply(rtc::url_encode, "a b")); }
TEST(UrlEncode, Utf8PassesUnchanged) { EXPECT_EQ("\xC3\xA9", Apply(rtc::url_encode, "\xC3\xA9")); }
TEST(UrlEncode, UnsafeCharactersAreTheListedOnes) {
  std::string source;
  for (int ch = 1; ch < 128; ++ch) source += static_cast<char>(ch);
  std::string kept;
  for (const char ch : source) {
    if (Apply(rtc::url_encode, std::string(1, ch)).size() == 1) kept += ch;
  }
  EXPECT_EQ("!'()*-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~", kept);
}
TEST(UrlEncode, SecondSignThatDoesNotFitIsLeftOut) {
  char buffer[4];
  EXPECT_EQ(3U, rtc::url_encode(buffer, sizeof(buffer), "<<", 2));
  EXPECT_STREQ("%3c", buffer);
}
TEST(UrlEncode, NullBufferAsksForTheSize) {
  EXPECT_EQ(31U, rtc::url_encode(nullptr, 0, "0123456789", 10));
  EXPECT_EQ(1U, rtc::url_encode(nullptr, 7, "", 0));
}
TEST(UrlEncode, ZeroByteIsEncoded) {
  EXPECT_EQ("%00", Apply(rtc::url_encode, std::string(1, '\0')));
}

TEST(UrlDecode, LetterBeyondFCountsInTheLowEightBits) {
  EXPECT_EQ("\x10", Apply(rtc::url_decode, "%gg"));
}
TEST(UrlDecode, NonAlphanumericAfterThePercentLeavesIt) {
  EXPECT_EQ("%-1%1-", Apply(rtc::url_decode, "%-1%1-"));
  EXPECT_EQ("%A", Apply(rtc::url_decode, "%%41"));
}
TEST(UrlDecode, PlusBecomesASpace) { EXPECT_EQ("a b+", Apply(rtc::url_decode, "a+b%2B")); }
TEST(UrlDecode, PlusBehindPercentIsASpaceToo) { EXPECT_EQ("% 1", Apply(rtc::url_decode, "%+1")); }
TEST(UrlDecode, TruncatedEscapeIsCopied) {
  EXPECT_EQ("a%", Apply(rtc::url_decode, "a%"));
  EXPECT_EQ("a%4", Apply(rtc::url_decode, "a%4"));
}
TEST(UrlDecode, NullBufferAsksForTheSize) {
  EXPECT_EQ(11U, rtc::url_decode(nullptr, 0, "0123456789", 10));
}

TEST(Utf8Decode, LengthsOfTheFourForms) {
  unsigned long code = 0;
  EXPECT_EQ(1U, rtc::utf8_decode("A", 1, &code));
  EXPECT_EQ(0x41U, code);
  EXPECT_EQ(2U, rtc::utf8_decode("\xC3\xA9", 2, &code));
  EXPECT_EQ(0xE9U, code);
  EXPECT_EQ(3U, rtc::utf8_decode("\xE2\x82\xAC", 3, &code));
  EXPECT_EQ(0x20ACU, code);
  EXPECT_EQ(4U, rtc::utf8_decode("\xF0\x9F\x98\x80", 4, &code));
  EXPECT_EQ(0x1F600U, code);
}
TEST(Utf8Decode, MalformedAndTruncatedGiveZeroAndKeepTheValue) {
  unsigned long code = 77;
  EXPECT_EQ(0U, rtc::utf8_decode("", 0, &code));
  EXPECT_EQ(0U, rtc::utf8_decode("\x80", 1, &code));
  EXPECT_EQ(0U, rtc::utf8_decode("\xC3", 1, &code));
  EXPECT_EQ(0U, rtc::utf8_decode("\xE2\x82", 2, &code));
  EXPECT_EQ(0U, rtc::utf8_decode("\xE2\x82g", 3, &code));
  EXPECT_EQ(0U, rtc::utf8_decode("\xF8\x80\x80\x80\x80", 5, &code));
  EXPECT_EQ(77U, code);
}
TEST(Utf8Decode, OverlongAndSurrogatesAreAccepted) {
  unsigned long code = 0;
  EXPECT_EQ(2U, rtc::utf8_decode("\xC0\x80", 2, &code));
  EXPECT_EQ(0U, code);
  EXPECT_EQ(3U, rtc::utf8_decode("\xED\xA0\x80", 3, &code));
  EXPECT_EQ(0xD800U, code);
}
TEST(Utf8Encode, ShortestFormAtEveryBorder) {
  EXPECT_EQ(std::string(1, '\0'), Utf8(0));
  EXPECT_EQ("\x7F", Utf8(0x7F));
  EXPECT_EQ("\xC2\x80", Utf8(0x80));
  EXPECT_EQ("\xDF\xBF", Utf8(0x7FF));
  EXPECT_EQ("\xE0\xA0\x80", Utf8(0x800));
  EXPECT_EQ("\xEF\xBF\xBF", Utf8(0xFFFF));
  EXPECT_EQ("\xF0\x90\x80\x80", Utf8(0x10000));
  EXPECT_EQ("\xF7\xBF\xBF\xBF", Utf8(0x1FFFFF));
  EXPECT_EQ("", Utf8(0x200000));
}
TEST(Utf8Encode, RoundTripsThroughDecode) {
  for (unsigned long code = 0; code <= 0x1FFFFF; code += 61) {
    const std::string text = Utf8(code);
    unsigned long back = ~code;
    ASSERT_EQ(text.size(), rtc::utf8_decode(text.data(), text.size(), &back));
    ASSERT_EQ(code, back);
  }
}
TEST(Utf8Encode, BufferTooSmallWritesNothing) {
  for (const unsigned long code : {0x41UL, 0xE9UL, 0x20ACUL, 0x1F600UL}) {
    const size_t needed = Utf8(code).size();
    for (size_t room = 0; room < needed; ++room) {
      char buffer[4] = {'x', 'x', 'x', 'x'};
      EXPECT_EQ(0U, rtc::utf8_encode(buffer, room, code));
      EXPECT_EQ("xxxx", std::string(buffer, 4));
    }
  }
}

TEST(HtmlEncode, Utf8BecomesADecimalEntity) {
  EXPECT_EQ("&#233;", Apply(rtc::html_encode, "\xC3\xA9"));
}
TEST(HtmlEncode, ApostropheIsNumeric) { EXPECT_EQ("&#39;", Apply(rtc::html_encode, "'")); }
TEST(HtmlEncode, NamedEntities) {
  EXPECT_EQ("&quot;&amp;&lt;&gt;a", Apply(rtc::html_encode, "\"&<>a"));
}
TEST(HtmlEncode, ByteThatStartsNoSequenceStandsForItself) {
  EXPECT_EQ("&#255;&#195;x&#128;", Apply(rtc::html_encode, "\xFF\xC3x\x80"));
}
TEST(HtmlEncode, LargestCodePointHasSevenDigits) {
  EXPECT_EQ("&#2097151;", Apply(rtc::html_encode, "\xF7\xBF\xBF\xBF"));
}
TEST(XmlEncode, Utf8IsCopied) { EXPECT_EQ("\xC3\xA9", Apply(rtc::xml_encode, "\xC3\xA9")); }
TEST(XmlEncode, ApostropheIsNamed) { EXPECT_EQ("&apos;", Apply(rtc::xml_encode, "'")); }
TEST(XmlEncode, NamedEntities) {
  EXPECT_EQ("&quot;&amp;&lt;&gt;a", Apply(rtc::xml_encode, "\"&<>a"));
}

TEST(XmlDecode, NamedReferences) {
  EXPECT_EQ("<>'\"&", Apply(rtc::xml_decode, "&lt;&gt;&apos;&quot;&amp;"));
}
TEST(XmlDecode, NumericReferencesBecomeUtf8) {
  EXPECT_EQ("A\xC3\xA9\xE2\x82\xAC", Apply(rtc::xml_decode, "&#65;&#xe9;&#x20AC;"));
}
TEST(XmlDecode, UnknownReferenceEndsDecoding) {
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&nbsp;b"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&am"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a& b"));
}
TEST(XmlDecode, ReferenceWithoutDigitsEndsDecoding) {
  for (const char* text : {"a&#;b", "a&#x;b", "a&#X;b", "a&#X41;b", "a&#-1;b", "a&#", "a&#x"}) {
    EXPECT_EQ("a", Apply(rtc::xml_decode, text)) << text;
  }
}
TEST(XmlDecode, UnterminatedReferenceEndsDecoding) {
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#65"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#65 ;"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#6a;"));
}
TEST(XmlDecode, ReferenceTooLargeEndsDecoding) {
  EXPECT_EQ("a\xF7\xBF\xBF\xBF", Apply(rtc::xml_decode, "a&#2097151;"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#2097152;b"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#99999999999999999999999999999999999;b"));
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#x10000000000000041;b"));
}
TEST(XmlDecode, HexReferenceTakesRealHexDigitsOnly) {
  EXPECT_EQ("a", Apply(rtc::xml_decode, "a&#x4g;b"));
}
TEST(XmlDecode, ZeroReferenceIsAZeroByte) {
  EXPECT_EQ(std::string("a\0b", 3), Apply(rtc::xml_decode, "a&#0;b"));
}
TEST(HtmlDecode, IsXmlDecode) { EXPECT_EQ("<A", Apply(rtc::html_decode, "&lt;&#65;&nbsp;")); }

TEST(HexEncode, DelimiterStandsBetweenBytes) {
  char buffer[6];
  EXPECT_EQ(5U, rtc::hex_encode_with_delimiter(buffer, sizeof(buffer), "\x01\xAB", 2, ':'));
  EXPECT_STREQ("01:ab", buffer);
}
TEST(HexEncode, SmallerBufferIsLeftUntouched) {
  char buffer[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(0U, rtc::hex_encode_with_delimiter(buffer, 5, "\x01\xAB", 2, ':'));
  EXPECT_EQ(0U, rtc::hex_encode(buffer, 4, "\x01\xAB", 2));
  EXPECT_EQ(0U, rtc::hex_encode(buffer, 0, "\x01\xAB", 2));
  EXPECT_EQ("xxxxxx", std::string(buffer, 6));
  EXPECT_EQ(4U, rtc::hex_encode(buffer, 5, "\x01\xAB", 2));
  EXPECT_STREQ("01ab", buffer);
}
TEST(HexEncode, EmptySourceWritesTheTerminatingZero) {
  char buffer[1] = {'x'};
  EXPECT_EQ(0U, rtc::hex_encode(buffer, 1, "", 0));
  EXPECT_EQ('\0', buffer[0]);
}
TEST(HexEncode, StringForms) {
  EXPECT_EQ("00ff", rtc::hex_encode(std::string("\0\xFF", 2)));
  EXPECT_EQ("00ff", rtc::hex_encode("\0\xFF", 2));
  EXPECT_EQ("00 ff", rtc::hex_encode_with_delimiter("\0\xFF", 2, ' '));
  EXPECT_EQ("", rtc::hex_encode(std::string()));
  EXPECT_EQ("", rtc::hex_encode_with_delimiter("", 0, ':'));
}

TEST(HexDecode, ReadsPairsWithAndWithoutDelimiter) {
  char buffer[4];
  EXPECT_EQ(2U, rtc::hex_decode(buffer, 2, std::string("01aB")));
  EXPECT_EQ("\x01\xAB", std::string(buffer, 2));
  EXPECT_EQ(2U, rtc::hex_decode_with_delimiter(buffer, 2, std::string("02:cD"), ':'));
  EXPECT_EQ("\x02\xCD", std::string(buffer, 2));
}
TEST(HexDecode, SecondDigitBeyondFFollowsTheLowEightBits) {
  char buffer[1];
  EXPECT_EQ(1U, rtc::hex_decode(buffer, 1, "zz", 2));
  EXPECT_EQ(static_cast<char>((35 * 16) | 35), buffer[0]);
}
TEST(HexDecode, RefusesWhatIsNoListOfPairs) {
  char buffer[64];
  for (const char* text : {"", "0", "012", "0.", "01:", "-1", "01 23"}) {
    EXPECT_EQ(0U, rtc::hex_decode(buffer, sizeof(buffer), std::string(text))) << text;
  }
  for (const char* text :
       {"", "0", "0123", "01:", "01:2", "01-23", "01:23:", "01:23:4", "01::23"}) {
    EXPECT_EQ(0U, rtc::hex_decode_with_delimiter(buffer, sizeof(buffer), std::string(text), ':'))
        << text;
  }
}
TEST(HexDecode, BufferTooSmall) {
  char buffer[4];
  EXPECT_EQ(0U, rtc::hex_decode(buffer, 1, "0102", 4));
  EXPECT_EQ(0U, rtc::hex_decode_with_delimiter(buffer, 1, "01:02", 5, ':'));
}

TEST(Transform, AssignsWhatFitsAndReturnsItsLength) {
  std::string value = "old";
  EXPECT_EQ(4U, rtc::transform(value, 6, "a  ", rtc::url_encode));
  EXPECT_EQ("a%20", value);
  EXPECT_EQ(0U, rtc::transform(value, 0, "a", rtc::url_encode));
  EXPECT_EQ("", value);
}
TEST(Transform, MayReplaceItsOwnSource) {
  std::string value = "a b";
  rtc::transform(value, 100, value, rtc::url_encode);
  EXPECT_EQ("a%20b", value);
}
TEST(Transform, LargeBuffersAreAllocated) {
  std::string value;
  const std::string source(100000, ' ');
  EXPECT_EQ(300000U, rtc::transform(value, 300001, source, rtc::url_encode));
  EXPECT_EQ("%20%20", value.substr(0, 6));
}
TEST(Transform, StringFormHasThreeTimesTheRoom) {
  EXPECT_EQ("%3c%3c", rtc::s_transform("<<", rtc::url_encode));
  EXPECT_EQ("0aff", rtc::s_transform("\x0A\xFF", rtc::hex_encode));
  // "&lt;" is four bytes: two of three signs fit ten bytes with the terminating zero.
  EXPECT_EQ("&lt;&lt;", rtc::s_transform("<<<", rtc::xml_encode));
}

}  // namespace
