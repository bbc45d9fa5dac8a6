#include "oru_report/symbols/source_text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/files.h"

namespace oru_report {
namespace {

using Lines = std::vector<std::string>;

class SourceTextTest : public testing::Test {
 protected:
  void SetUp() override {
    path_ = dir_.Join("a.cc");
    oru_test::WriteFile(path_, "one\r\ntwo\nthree\n\nfive\n");
  }

  const oru_test::TempDir dir_;
  std::string path_;
};

TEST_F(SourceTextTest, LinesAroundAreThereAsFarAsTheFileGoes) {
  const SourceText middle = ReadSource(path_, 3, 1, {});
  EXPECT_EQ(middle.path, path_);
  EXPECT_EQ(middle.first, 2);
  EXPECT_EQ(middle.lines, (Lines{"two", "three", ""}));
  EXPECT_EQ(ReadSource(path_, 1, 2, {}).lines, (Lines{"one", "two", "three"}));
  EXPECT_EQ(ReadSource(path_, 5, 1, {}).lines, (Lines{"", "five"}));
  EXPECT_GT(middle.changed, 0);
}

TEST_F(SourceTextTest, ALineThatIsNotThereGivesNothing) {
  for (const int line : {-1, 0, 6, 2147483647}) {
    EXPECT_EQ(ReadSource(path_, line, 2, {}).first, 0) << line;
    EXPECT_TRUE(ReadSource(path_, line, 2, {}).lines.empty()) << line;
  }
}

TEST_F(SourceTextTest, AFolderOfSourcesHasTheEndOfThePath) {
  ASSERT_EQ(mkdir(dir_.Join("engine").c_str(), 0755), 0);
  oru_test::WriteFile(dir_.Join("engine/b.cc"), "of the engine\n");
  oru_test::WriteFile(dir_.Join("b.cc"), "another\n");
  const std::vector<std::string> folders = {dir_.Join("absent"), dir_.path()};
  for (const char* file : {"/build/x/engine/b.cc", "engine/b.cc", "src/engine/b.cc"}) {
    EXPECT_EQ(ReadSource(file, 1, 3, folders).lines, Lines{"of the engine"}) << file;
    EXPECT_TRUE(ReadSource(file, 1, 3, {}).lines.empty()) << file;
  }
  EXPECT_EQ(ReadSource("/elsewhere/b.cc", 1, 3, folders).lines, Lines{"another"});
}

TEST_F(SourceTextTest, WhatIsNoTextIsNotShown) {
  oru_test::WriteFile(dir_.Join("program"), std::string("\x7f"
                                                        "ELF\0\0\nline\n",
                                                        12));
  EXPECT_TRUE(ReadSource(dir_.Join("program"), 1, 3, {}).lines.empty());
  EXPECT_TRUE(ReadSource(dir_.path(), 1, 3, {}).lines.empty());
  EXPECT_TRUE(ReadSource("/dev/zero", 1, 3, {}).lines.empty());
  EXPECT_TRUE(ReadSource("/proc/self/environ", 1, 3, {}).lines.empty());
  ASSERT_EQ(mkfifo(dir_.Join("fifo").c_str(), 0600), 0);
  EXPECT_TRUE(ReadSource(dir_.Join("fifo"), 1, 3, {}).lines.empty());
}

TEST_F(SourceTextTest, ALongLineIsCut) {
  oru_test::WriteFile(path_, std::string(100000, 'x'));
  EXPECT_EQ(ReadSource(path_, 1, 3, {}).lines[0].size(), 400U);
}

}  // namespace
}  // namespace oru_report
