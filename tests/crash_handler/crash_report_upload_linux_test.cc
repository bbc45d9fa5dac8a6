// What the started command has and leaves, seen through /proc.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "tests/crash_handler/crash_report_upload_fixture.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

TEST_F(CrashReportUploadTest, ACommandThatHangsIsEndedWithWhatItStarted) {
  Script("trap '' TERM\necho $$ >" + dir_.Join("pid") + "\nsleep 1000 &\necho $! >" +
         dir_.Join("child") + "\nwhile :; do sleep 1000; done\n");
  command_.time_limit_s = 1;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Upload().result, CrashUploadResult::kTimedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_NE(kill(atoi(oru_test::ReadFile(dir_.Join("pid")).c_str()), 0), 0);
  const std::string child =
      "/proc/" + oru_test::SplitLines(oru_test::ReadFile(dir_.Join("child")))[0];
  // Its new parent may not have looked yet.
  for (int i = 0; i < 2000 && oru_test::PathExists(child); ++i) {
    const std::string stat = oru_test::ReadFile(child + "/stat");
    if (stat.empty() || stat.find(") Z ") != std::string::npos) break;
    usleep(5000);
  }
  EXPECT_TRUE(!oru_test::PathExists(child) ||
              oru_test::ReadFile(child + "/stat").find(") Z ") != std::string::npos);
}

TEST_F(CrashReportUploadTest, TheCommandGetsNoDescriptorAndNoBlockedSignal) {
  constexpr int kExtra = 77;
  ASSERT_EQ(dup2(STDERR_FILENO, kExtra), kExtra);
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  Script(
      "echo /proc/$$/fd/* >" + dir_.Join("fds") +
      "\nwhile read -r line; do [[ $line != SigBlk* ]] || echo \"$line\"; done </proc/$$/status >" +
      dir_.Join("mask") + "\n");
  Upload();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(kExtra);
  const std::string descriptors = oru_test::ReadFile(dir_.Join("fds"));
  EXPECT_NE(descriptors.find("/fd/2 "), std::string::npos) << descriptors;
  EXPECT_EQ(descriptors.find("/fd/77"), std::string::npos) << descriptors;
  EXPECT_EQ(oru_test::ReadFile(dir_.Join("mask")), "SigBlk:\t0000000000000000\n");
}

}  // namespace
}  // namespace CrashHandler
