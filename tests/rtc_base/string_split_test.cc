#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "tests/support/string_encode_reference.h"

namespace {

using Fields = std::vector<std::string>;

Fields Tokenize(const std::string& source) {
  Fields fields = {"old"};
  const size_t count = rtc::tokenize(source, ' ', &fields);
  EXPECT_EQ(count, fields.size());
  return fields;
}

Fields TokenizeMarked(const std::string& source) {
  Fields fields = {"old"};
  const size_t count = rtc::tokenize(source, ' ', '[', ']', &fields);
  EXPECT_EQ(count, fields.size());
  return fields;
}

TEST(Split, KeepsEmptyPieces) {
  Fields fields = {"old"};
  EXPECT_EQ(4U, rtc::split("a,,b,", ',', &fields));
  EXPECT_EQ((Fields{"a", "", "b", ""}), fields);
}
TEST(Split, EmptySourceIsOneEmptyField) {
  Fields fields;
  EXPECT_EQ(1U, rtc::split("", ',', &fields));
  EXPECT_EQ(Fields{""}, fields);
}
TEST(Split, NullFieldsGiveZero) {
  EXPECT_EQ(0U, rtc::split("a,b", ',', nullptr));
  EXPECT_EQ(0U, rtc::tokenize("a,b", ',', nullptr));
  EXPECT_EQ(0U, rtc::tokenize("a,b", ',', '[', ']', nullptr));
}
TEST(Split, TokenizeWithEmptyTokensIsTheSame) {
  Fields fields;
  EXPECT_EQ(3U, rtc::tokenize_with_empty_tokens(",a,", ',', &fields));
  EXPECT_EQ((Fields{"", "a", ""}), fields);
}
TEST(Split, ZeroByteMayBeTheDelimiter) {
  Fields fields;
  EXPECT_EQ(2U, rtc::split(std::string("a\0b", 3), '\0', &fields));
  EXPECT_EQ((Fields{"a", "b"}), fields);
}

TEST(Tokenize, DropsEmptyPieces) {
  EXPECT_EQ((Fields{"A", "B", "C"}), Tokenize("  A B   C "));
  EXPECT_EQ(Fields{}, Tokenize("   "));
  EXPECT_EQ(Fields{}, Tokenize(""));
}
TEST(Tokenize, AppendReturnsTheNumberAdded) {
  Fields fields = {"old"};
  EXPECT_EQ(2U, rtc::tokenize_append(" a  b", ' ', &fields));
  EXPECT_EQ((Fields{"old", "a", "b"}), fields);
}
TEST(Tokenize, AppendToNullAddsNothing) {
  EXPECT_EQ(0U, rtc::tokenize_append("a b", ' ', nullptr));
}

TEST(TokenizeMarked, MarkedTextIsOneField) {
  EXPECT_EQ((Fields{"a", "b c", "d"}), TokenizeMarked("a [b c] d"));
}
TEST(TokenizeMarked, CharacterBeforeTheMarkIsCut) {
  EXPECT_EQ((Fields{"a", "b c"}), TokenizeMarked("ax[b c]"));
  EXPECT_EQ((Fields{"b c"}), TokenizeMarked("x[b c]"));
}
TEST(TokenizeMarked, MarkAtTheStart) { EXPECT_EQ(Fields{"b c"}, TokenizeMarked("[b c]")); }
TEST(TokenizeMarked, KeepsAnEmptyMarkedField) {
  EXPECT_EQ((Fields{"a", "", "b"}), TokenizeMarked("a [] b"));
}
TEST(TokenizeMarked, UnmatchedStartMarkIsOrdinaryText) {
  EXPECT_EQ((Fields{"a", "[b", "c"}), TokenizeMarked("a [b c"));
  EXPECT_EQ((Fields{"a", "b", "c", "d["}), TokenizeMarked("a [b] c d["));
}
TEST(TokenizeMarked, EqualMarksPairUp) {
  Fields fields;
  EXPECT_EQ(3U, rtc::tokenize("a 'b c' d", ' ', '\'', '\'', &fields));
  EXPECT_EQ((Fields{"a", "b c", "d"}), fields);
}
TEST(TokenizeMarked, DropsEmptyPiecesAround) {
  EXPECT_EQ((Fields{"a", "m", "b"}), TokenizeMarked("  a   [m]   b  "));
}

TEST(TokenizeFirst, CutsAtTheFirstRun) {
  std::string token;
  std::string rest;
  EXPECT_TRUE(rtc::tokenize_first("a   b c", ' ', &token, &rest));
  EXPECT_EQ("a", token);
  EXPECT_EQ("b c", rest);
}
TEST(TokenizeFirst, WithoutDelimiterChangesNothing) {
  std::string token = "t";
  std::string rest = "r";
  EXPECT_FALSE(rtc::tokenize_first("abc", ' ', &token, &rest));
  EXPECT_FALSE(rtc::tokenize_first("", ' ', &token, &rest));
  EXPECT_EQ("t", token);
  EXPECT_EQ("r", rest);
}
TEST(TokenizeFirst, DelimitersAtTheEdges) {
  std::string token;
  std::string rest;
  EXPECT_TRUE(rtc::tokenize_first("  a", ' ', &token, &rest));
  EXPECT_EQ("", token);
  EXPECT_EQ("a", rest);
  EXPECT_TRUE(rtc::tokenize_first("a  ", ' ', &token, &rest));
  EXPECT_EQ("a", token);
  EXPECT_EQ("", rest);
}
TEST(TokenizeFirst, MayConsumeItsOwnSource) {
  std::string rest = "a b c";
  std::string token;
  std::string all;
  while (rtc::tokenize_first(rest, ' ', &token, &rest)) all += token + "|";
  EXPECT_EQ("a|b|", all);
  EXPECT_EQ("c", rest);
}

TEST(Split, PiecesAcrossStretchesOfTheSearch) {
  for (const size_t length : {1022U, 1023U, 1024U, 1025U, 2048U, 5000U}) {
    const std::string piece(length, 'x');
    Fields fields;
    EXPECT_EQ(3U, rtc::split(piece + "," + piece + ",", ',', &fields));
    EXPECT_EQ((Fields{piece, piece, ""}), fields);
    const std::string delimiters(length, ',');
    EXPECT_EQ(length + 1, rtc::split(delimiters, ',', &fields));
    EXPECT_EQ(Fields(length + 1), fields);
    EXPECT_EQ(0U, rtc::tokenize(delimiters, ',', &fields));
    EXPECT_EQ(2U, rtc::tokenize(delimiters + piece + delimiters + piece, ',', &fields));
    EXPECT_EQ((Fields{piece, piece}), fields);
  }
}

TEST(SplitRandom, AgreesWithTheReference) {
  std::mt19937 random(31);
  const std::string alphabet = "ab,[]";
  for (int round = 0; round < 3000; ++round) {
    std::string source;
    const size_t length = random() % (round % 10 == 0 ? 400 : 40);
    while (source.size() < length) source += alphabet[random() % alphabet.size()];
    Fields fields;
    rtc::split(source, ',', &fields);
    ASSERT_EQ(oru_test::PiecesOf(source, ',', true), fields) << source;
    rtc::tokenize(source, ',', &fields);
    ASSERT_EQ(oru_test::PiecesOf(source, ',', false), fields) << source;
    rtc::tokenize(source, ',', '[', ']', &fields);
    ASSERT_EQ(oru_test::MarkedPiecesOf(source, ',', '[', ']'), fields) << source;
    rtc::tokenize(source, ',', '[', '[', &fields);
    ASSERT_EQ(oru_test::MarkedPiecesOf(source, ',', '[', '['), fields) << source;
  }
}

}  // namespace
