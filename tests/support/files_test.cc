#include "tests/support/files.h"

#include <gtest/gtest.h>

namespace oru_test {
namespace {

TEST(TempDir, IsGoneAfterItsScope) {
  std::string path;
  {
    TempDir dir;
    path = dir.path();
    MakeDirs(dir.Join("a/b"));
    WriteFile(dir.Join("a/b/c"), "text");
    EXPECT_EQ(ReadFile(dir.Join("a/b/c")), "text");
    EXPECT_EQ(ListFilesRecursively(path), std::vector<std::string>{"a/b/c"});
  }
  EXPECT_FALSE(PathExists(path));
}

TEST(SplitLines, KeepsALastLineWithoutNewline) {
  EXPECT_EQ(SplitLines("a\n\nb"), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_TRUE(SplitLines("").empty());
}

}  // namespace
}  // namespace oru_test
