#include "utils/string_utils.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/string_encode_reference.h"
#include "utils/url_utils.h"

namespace {

namespace utils = tessik::utils;
using Strings = std::vector<std::string>;
using Parameters = std::map<std::string, std::string>;

TEST(SplitStringAtCharacter, EmptyTextGivesOneEmptyElement) {
  EXPECT_EQ(Strings{""}, utils::splitString("", ','));
}
TEST(SplitStringAtCharacter, LeadingDelimiterGivesNothing) {
  EXPECT_EQ(Strings{"a"}, utils::splitString(",a", ','));
}
TEST(SplitStringAtCharacter, TrailingDelimiterGivesAnEmptyElement) {
  EXPECT_EQ((Strings{"a", ""}), utils::splitString("a,", ','));
  EXPECT_EQ(Strings{""}, utils::splitString(",,,", ','));
}
TEST(SplitStringAtCharacter, RunsOfDelimitersCountOnce) {
  EXPECT_EQ((Strings{"a", "b", ""}), utils::splitString("a,,b,", ','));
}
TEST(SplitStringAtCharacter, IsTheSetRuleWithOneDelimiter) {
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    while (text.size() < static_cast<size_t>(round % 90)) text += "ab,"[random() % 3];
    ASSERT_EQ(oru_test::SplitAtSetReference(text, ",", false), utils::splitString(text, ','));
  }
}
TEST(SplitStringAtSet, FollowsTheSharedRule) {
  EXPECT_EQ((Strings{"a", ",", ";", "b", ",", ""}), utils::splitString("a,;b,", ",;", true));
  EXPECT_EQ((Strings{"a", "b", ""}), utils::splitString("a,;b,", ";,", false));
  EXPECT_EQ(Strings{""}, utils::splitString("", ",", true));
  EXPECT_EQ(Strings{"a,b"}, utils::splitString("a,b", "", true));
}
TEST(SplitStringAtSet, PiecesOfEveryLengthAreCut) {
  std::mt19937 random(6);
  for (int round = 0; round < 4000; ++round) {
    // Few delimiters in some texts, so that pieces are long.
    const unsigned kinds = round % 2 == 0 ? 4 : 40;
    std::string text;
    while (text.size() < static_cast<size_t>(round % 90)) {
      text +=
          ",;\xFF\x80"
          "abcdefghijklmnopqrstuvwxyzABCDEFGHIJ"[random() % kinds];
    }
    for (const bool keep : {false, true}) {
      ASSERT_EQ(oru_test::SplitAtSetReference(text, ",;\xFF", keep),
                utils::splitString(text, ",;\xFF", keep))
          << text;
    }
  }
}

TEST(ExtractUrl, EmptyBaseAndTheParameters) {
  const utils::UrlParts parts = utils::extractUrl("base?x=1&y=2");
  EXPECT_EQ("", parts.first);
  EXPECT_EQ((Parameters{{"x", "1"}, {"y", "2"}}), parts.second);
}
TEST(ExtractUrl, RepeatedKeyKeepsItsFirstValue) {
  EXPECT_EQ((Parameters{{"x", "1"}}), utils::extractUrl("b?x=1&x=2").second);
}
TEST(ExtractUrl, KeyWithoutValueIsNoParameter) {
  EXPECT_EQ((Parameters{{"y", "2"}}), utils::extractUrl("b?x&y=2").second);
  EXPECT_EQ((Parameters{{"x", ""}}), utils::extractUrl("b?x=").second);
  EXPECT_EQ(Parameters{}, utils::extractUrl("b?x").second);
  EXPECT_EQ(Parameters{}, utils::extractUrl("").second);
}
TEST(ExtractUrl, ValueWithAnEqualsSignKeepsItsFirstPart) {
  EXPECT_EQ((Parameters{{"x", "1"}}), utils::extractUrl("b?x=1=2").second);
}
TEST(BuildUrlFromParts, JoinsInKeyOrder) {
  EXPECT_EQ("b?a=1&c=", utils::buildUrl({"b", {{"c", ""}, {"a", "1"}}}));
  EXPECT_EQ("b", utils::buildUrl({"b", {}}));
  EXPECT_EQ("?a=1", utils::buildUrl({"", {{"a", "1"}}}));
}

TEST(RemoveUrlKeyOfUtils, DropsTheKeyAndItsValue) {
  EXPECT_EQ("a?k2=2", utils::removeUrlKey("a?k=1&k2=2", "k"));
}
TEST(RemoveUrlKeyOfUtils, SortsTheOthers) {
  EXPECT_EQ("a?a=1&b=2", utils::removeUrlKey("a?b=2&a=1", "z"));
}
TEST(RemoveUrlKeyOfUtils, UrlWithoutQueryIsItsFirstToken) {
  EXPECT_EQ("abc", utils::removeUrlKey("abc", "k"));
  EXPECT_EQ("abc", utils::removeUrlKey("abc", ""));
  EXPECT_EQ("abc?=1", utils::removeUrlKey("abc=1", "abc"));
}
TEST(RemoveUrlKeyOfUtils, ExtractAndBuildGoRoundForOrderedUrls) {
  utils::UrlParts parts = utils::extractUrl("base?a=1&b=2&c=3");
  parts.first = "base";
  EXPECT_EQ("base?a=1&b=2&c=3", utils::buildUrl(parts));
}

TEST(SplitStringByPatten, PatternThatDoesNotOccur) {
  EXPECT_EQ(Strings{"abc"}, utils::splitStringByPatten("abc", "x"));
}
TEST(SplitStringByPatten, CutsAtThePattern) {
  EXPECT_EQ((Strings{"a", "b"}), utils::splitStringByPatten("a--b", "--"));
  EXPECT_EQ((Strings{"", "a"}), utils::splitStringByPatten("--a", "--"));
}
TEST(SplitStringByPatten, TrailingPatternGivesNoEmptyElementMore) {
  EXPECT_EQ((Strings{"a", ""}), utils::splitStringByPatten("a--", "--"));
  EXPECT_EQ(Strings{""}, utils::splitStringByPatten("", "--"));
  EXPECT_EQ((Strings{"", "", ""}), utils::splitStringByPatten("----", "--"));
}
TEST(SplitStringByPatten, EndMayCompleteThePattern) {
  EXPECT_EQ(Strings{"a"}, utils::splitStringByPatten("a-", "--"));
  EXPECT_EQ((Strings{"a", ""}), utils::splitStringByPatten("a---", "--"));
}
TEST(SplitStringByPatten, EmptyPatternGivesTheText) {
  EXPECT_EQ(Strings{"abc"}, utils::splitStringByPatten("abc", ""));
}

TEST(RemoveJsonKey, ExampleEndsWithAComma) {
  EXPECT_EQ("{a:1,c:3},", utils::removeJsonKey("{a:1,b:2,c:3}", "b:"));
}
TEST(RemoveJsonKey, PatternThatDoesNotOccur) {
  EXPECT_EQ("{a:1,,b:2}", utils::removeJsonKey("{a:1,,b:2}", "c:"));
  EXPECT_EQ("", utils::removeJsonKey("", "c:"));
}
TEST(RemoveJsonKey, LastKeyTakesTheClosingBrace) {
  EXPECT_EQ("{a:1,", utils::removeJsonKey("{a:1,b:2}", "b:"));
}
TEST(RemoveJsonKey, CutsANestedValueAtItsFirstComma) {
  EXPECT_EQ("{y:2},c:3},", utils::removeJsonKey("{b:{x:1,y:2},c:3}", "b:"));
}
TEST(RemoveJsonKey, EveryOccurrenceAndEmptyPieces) {
  EXPECT_EQ("{x:3,y:4},", utils::removeJsonKey("{b:1,,x:3,b:2,y:4}", "b:"));
}
TEST(RemoveJsonKey, EmptyPatternChangesNothing) {
  EXPECT_EQ("{a:1}", utils::removeJsonKey("{a:1}", ""));
}

}  // namespace
