#include "media_core/biz_engine/crash_handler/report/report_verdicts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/support/files.h"

namespace CrashHandler {
namespace {

using oru_test::TempDir;

TEST(ReportVerdictsTest, AFolderThatIsMissingCanBeMadeWithThoseAboveIt) {
  const TempDir dir;
  EXPECT_TRUE(JudgeDumpFolder(dir.path()).good);
  EXPECT_TRUE(JudgeDumpFolder(dir.Join("dumps")).good);
  EXPECT_TRUE(JudgeDumpFolder(dir.Join("a/b/c/")).good);
}

TEST(ReportVerdictsTest, NothingCanBeMadeBelowAFile) {
  const TempDir dir;
  const std::string program = dir.Join("program");
  oru_test::WriteFile(program, "x");
  ASSERT_EQ(0, chmod(program.c_str(), 0700));
  EXPECT_FALSE(JudgeDumpFolder(program).good);
  const Verdict below = JudgeDumpFolder(program + "/dumps");
  EXPECT_FALSE(below.good);
  EXPECT_EQ(program + "/dumps cannot be made: Not a directory", below.text);
}

}  // namespace
}  // namespace CrashHandler
