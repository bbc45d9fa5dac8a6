// Runs the built command with the built framework, in a folder of its own.
#ifndef TESTS_REFERENCE_SDK_COMMAND_FIXTURE_H_
#define TESTS_REFERENCE_SDK_COMMAND_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace reference_sdk {

class CommandTest : public testing::Test {
 protected:
  CommandTest() {
    for (const char* name : {"temp", "logs", "store"}) oru_test::MakeDirs(dir_.Join(name));
    oru_test::WriteFile(dir_.Join("logs/a.log"), "some log");
    options_.env = {{"TMPDIR", dir_.Join("temp")},
                    {"no_proxy", "*"},
                    {"ORU_SDK_RETRY_PAUSE_MS", "1"},
                    {"ORU_SDK_STALL_TIMEOUT_S", "5"}};
  }

  // Calls of the system or the network library fail as the environment then says.
  void Preload(const char* library) { options_.env["LD_PRELOAD"] = library; }

  std::vector<std::string> UploadCommand(const std::string& endpoint) const {
    return {ORU_VARNOOK,  "-action", "uploadLog", "-libp",          ORU_FRAMEWORKS,
            "-apid",      "app",     "-akid",     "the-key-id",     "-akscrt",
            "the-secret", "-sectkn", "the-token", "-edpt",          endpoint,
            "-bukt",      "bucket",  "-logp",     dir_.Join("logs")};
  }

  oru_test::ChildResult Upload(const std::string& endpoint) const {
    return oru_test::RunChild(UploadCommand(endpoint), options_);
  }

  std::string Folder() const { return "file://" + dir_.Join("store"); }

  // The lines of the framework itself.
  static std::vector<std::string> SdkLines(const oru_test::ChildResult& run) {
    std::vector<std::string> lines;
    for (const std::string& line : oru_test::SplitLines(run.err)) {
      if (line.compare(0, 11, "OruRTCSdk: ") == 0) lines.push_back(line);
    }
    return lines;
  }

  oru_test::TempDir dir_;
  oru_test::ChildOptions options_;
};

}  // namespace reference_sdk

#endif  // TESTS_REFERENCE_SDK_COMMAND_FIXTURE_H_
