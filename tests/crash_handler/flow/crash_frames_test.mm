// That a hook is frame 0 of its own backtrace, which the filter passes over. (A sanitizer's own
// `backtrace` puts itself there.)
#include <gtest/gtest.h>
#include <signal.h>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_hooks.h"
#include "tests/crash_handler/support/log_capture.h"
#include "tests/support/files.h"

namespace CrashHandler {
namespace {

class CrashFramesTest : public testing::Test {
 protected:
  void SetUp() override {
    DarwinCrashHandler* handler = DarwinCrashHandler::GetInstance();
    handler->SetCrashDumpDirPath(dir_.path().c_str());
    handler->InstallCrashHandler();
    log_.Clear();
  }
  // The texts of the frames that the filter looked at.
  std::vector<std::string> Frames() const {
    std::vector<std::string> frames;
    for (const auto& line : log_.lines()) {
      const std::string start = "Crash stack: ";
      if (line.message.compare(0, start.size(), start) == 0) {
        frames.push_back(line.message.substr(start.size()));
      }
    }
    return frames;
  }

  oru_test::TempDir dir_;
  oru_test::LogCapture log_;
};

TEST_F(CrashFramesTest, NewHandlerIsFrameZeroAndMakesNoReport) {
  OruRTCNewFailedCatchHandler();
  ASSERT_GT(Frames().size(), 3U);
  EXPECT_NE(Frames()[0].find("OruRTCNewFailedCatchHandler"), std::string::npos) << Frames()[0];
  EXPECT_EQ(Frames()[1].find("OruRTC"), std::string::npos) << Frames()[1];
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir_.path()).empty());
}

TEST_F(CrashFramesTest, TerminateHandlerIsFrameZeroAndMakesNoReport) {
  OruRTCTerminateCatchHandler();
  ASSERT_GT(Frames().size(), 3U);
  EXPECT_NE(Frames()[0].find("OruRTCTerminateCatchHandler"), std::string::npos) << Frames()[0];
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir_.path()).empty());
}

TEST_F(CrashFramesTest, NoFrameOfTheModuleMakesASignalReportable) {
  raise(SIGPIPE);
  const std::vector<std::string> frames = Frames();
  ASSERT_GT(frames.size(), 3U);
  EXPECT_NE(frames[0].find("OruRTCSignalCatchHandler"), std::string::npos) << frames[0];
  for (size_t i = 1; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].find("OruRTC"), std::string::npos) << frames[i];
  }
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir_.path()).empty());
}

}  // namespace
}  // namespace CrashHandler
