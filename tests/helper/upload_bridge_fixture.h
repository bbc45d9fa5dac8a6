// Runs of the command that loads a framework, seen from outside the process.
#ifndef TESTS_HELPER_UPLOAD_BRIDGE_FIXTURE_H_
#define TESTS_HELPER_UPLOAD_BRIDGE_FIXTURE_H_

#include <cstring>
#include <string>
#include <vector>

#include "tests/helper/varnook_process.h"

namespace oru_test {

using Lines = std::vector<std::string>;

inline constexpr char kDelayLine[] = "varnook HandleActionUploadLog delay 0 sec. ";
inline constexpr char kLoadedLine[] = "varnook the framework load success!";
inline constexpr char kErrorPrefix[] = "varnook the framework loadAndReturnError, error: ";

class UploadBridge : public VarnookTest {
 protected:
  // What a run writes after its arguments, without the final line, which is checked here.
  Lines BridgeLines(const VarnookRun& run, const std::string& status = "0") {
    const size_t arguments = 3;
    if (run.log.size() < arguments + 1) {
      ADD_FAILURE() << run.process.err;
      return {};
    }
    EXPECT_EQ(run.log.back(), "varnook upload_log return:" + status);
    return {run.log.begin() + arguments, run.log.end() - 1};
  }

  // A framework that cannot be loaded: the one line with the linker's reason, and nothing else.
  void ExpectLoadError(const std::string& reason) {
    const VarnookRun run = RunUpload();
    const Lines lines = BridgeLines(run);
    ASSERT_EQ(lines.size(), 2U) << run.process.err;
    EXPECT_EQ(lines[0], kDelayLine);
    EXPECT_EQ(lines[1].compare(0, strlen(kErrorPrefix), kErrorPrefix), 0) << lines[1];
    EXPECT_NE(lines[1].find(reason), std::string::npos) << lines[1];
    EXPECT_EQ(run.sdk, Lines{});
    EXPECT_EQ(run.process.Ending(), "exit 0");
  }

  void ExpectUpload(const VarnookRun& run) {
    EXPECT_EQ(BridgeLines(run, "5"),
              (Lines{kDelayLine, kLoadedLine, "varnook uploadLogPrivate return: 5"}));
    EXPECT_EQ(run.process.Ending(), "exit 5");
    EXPECT_EQ(run.sdk.size(), 11U);
  }

  void SetUp() override {
    VarnookTest::SetUp();
    options_.env["ORU_TEST_STATUS"] = "5";
  }
};

}  // namespace oru_test

#endif  // TESTS_HELPER_UPLOAD_BRIDGE_FIXTURE_H_
