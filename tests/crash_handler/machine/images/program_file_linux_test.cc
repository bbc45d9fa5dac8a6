#include "media_core/biz_engine/crash_handler/machine/images/program_file_linux.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "tests/crash_handler/support/after_main_thread_linux.h"
#include "tests/support/child_process.h"

namespace CrashHandler::machine {
namespace {

// Not exported: only the file names it.
__attribute__((noinline, used)) int ProgramFileTarget(int x) { return x * 5; }

char sPath[PATH_MAX];
struct stat sFile;

// 0, or what is wrong.
int LookAtProgram() {
  char path[PATH_MAX];
  ReadProgramPath(path, sizeof(path));
  if (strcmp(path, sPath) != 0) return 1;
  const int file = OpenProgramFile();
  struct stat about;
  if (file < 0 || fstat(file, &about) != 0) return 2;
  close(file);
  if (about.st_ino != sFile.st_ino || about.st_dev != sFile.st_dev) return 3;
  Symbolizer symbolizer;
  SymbolInformation record;
  symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(&ProgramFileTarget) + 2, &record);
  const bool named = record.dli_sname != nullptr && strstr(record.dli_sname, "ProgramFileTarget");
  return named ? 0 : 4;
}

class ProgramFile : public testing::Test {
 protected:
  void SetUp() override {
    const ssize_t length = readlink("/proc/self/exe", sPath, sizeof(sPath) - 1);
    ASSERT_GT(length, 0);
    sPath[length] = '\0';
    ASSERT_EQ(stat(sPath, &sFile), 0);
  }
};

TEST_F(ProgramFile, IsTheRunningPrograms) { EXPECT_EQ(LookAtProgram(), 0); }

TEST_F(ProgramFile, IsThereAfterTheMainThreadHasEnded) {
  const auto result =
      oru_test::RunInFork([] { return oru_test::AfterTheMainThread(&LookAtProgram); });
  EXPECT_EQ(result.Ending(), "exit 0") << result.err;
}

TEST_F(ProgramFile, IsCutToTheRoom) {
  char path[4] = "xxx";
  ReadProgramPath(path, sizeof(path));
  EXPECT_EQ(std::string(path), std::string(sPath, 3));
}

}  // namespace
}  // namespace CrashHandler::machine
