#include "examples/reference_sdk/entry_names.h"

#include <gtest/gtest.h>

#include <set>

#include "examples/reference_sdk/utf8_escape.h"

namespace reference_sdk {
namespace {

using Names = std::vector<std::string>;

Names NamesOf(const Names& paths) {
  std::vector<LogFile> files;
  for (const std::string& path : paths) files.push_back({path, 0});
  return MakeEntryNames(files);
}

TEST(EntryNames, WellFormedUtf8IsRecognised) {
  for (const char* text : {"", "a.log", "\xc3\xa4", "\xe4\xbd\xa0", "\xf0\x9f\x98\x80",
                           "\xf4\x8f\xbf\xbf", "\xed\x9f\xbf", "\xc2\x80"}) {
    EXPECT_TRUE(IsUtf8(text)) << text;
  }
}

TEST(EntryNames, IllFormedUtf8IsRecognised) {
  for (const char* text :
       {"\xff", "\x80", "\xc3", "\xc0\xaf", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
        "\xf0\x80\x80\x80", "\xe4\xbd", "\xc3(", "\xf8\x88\x80\x80\x80", "\xf0\x9f\x98"}) {
    EXPECT_FALSE(IsUtf8(text)) << text;
  }
}

TEST(EntryNames, Utf8PathsStandAsTheyAre) {
  const Names paths = {"100%.log", "a%FF", "d/\xe4\xbd\xa0.log", "x y:z"};
  EXPECT_EQ(NamesOf(paths), paths);
}

TEST(EntryNames, OtherBytesAreEscaped) {
  EXPECT_EQ(NamesOf({"a\xff.log", "50%\xe4\xbd.log", "\xc3\xa4\x80"}),
            (Names{"a%FF.log", "50%25%E4%BD.log", "\xc3\xa4%80"}));
}

TEST(EntryNames, WhatAnExtractorCouldMisreadIsEscaped) {
  EXPECT_EQ(NamesOf({"..\\..\\a.log", "a\nb%.log", "\x1b[31m", "\x7f", "c\xc2\x85", "c\xc2\xa0"}),
            (Names{"..%5C..%5Ca.log", "a%0Ab%25.log", "%1B[31m", "%7F", "c%C2%85", "c\xc2\xa0"}));
}

TEST(EntryNames, AnEscapedNameGivesWayToAFileOfThatName) {
  EXPECT_EQ(NamesOf({"a%FF", "a%FF~1", "a\xff"}), (Names{"a%FF", "a%FF~1", "a%FF~2"}));
}

TEST(EntryNames, AllTwoByteNamesStayDifferent) {
  Names paths;
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      paths.push_back({static_cast<char>(first), static_cast<char>(second)});
    }
  }
  const Names names = NamesOf(paths);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), paths.size());
  for (const std::string& name : names) EXPECT_TRUE(IsUtf8(name));
}

}  // namespace
}  // namespace reference_sdk
