// The "logToStdErr" preference of a real bundle, read by a program with Foundation.
#include "media_core/common/webrtc/rtc_base/log_preference.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::TempDir;

// Runs the probe, as the executable of a bundle or alone; says whether it wrote its line.
bool Writes(const std::string& identifier, const std::vector<std::string>& args) {
  const TempDir dir;
  const std::string resources = dir.Join("Probe.app/Resources");
  oru_test::MakeDirs(resources);
  oru_test::MakeDirs(dir.Join("home"));
  if (!identifier.empty()) {
    oru_test::WriteFile(resources + "/Info-gnustep.plist",
                        "{ CFBundleIdentifier = \"" + identifier + "\"; NSExecutable = Probe; }\n");
  }
  const std::string program = dir.Join("Probe.app/Probe");
  oru_test::WriteFile(program, oru_test::ReadFile(ORU_LOG_PREFERENCE_PROBE));
  EXPECT_EQ(chmod(program.c_str(), 0755), 0);
  oru_test::ChildOptions options;
  options.env["HOME"] = dir.Join("home");
  std::vector<std::string> argv = {program};
  argv.insert(argv.end(), args.begin(), args.end());
  const ChildResult child = oru_test::RunChild(argv, options);
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.err;
  EXPECT_EQ(child.out, identifier + "\n");
  return child.err.find("[I] (probe.mm:1): shown\n") != std::string::npos;
}

constexpr char kId[] = "org.example.probe";

TEST(LogPreference, BundleWithoutItWritesNothing) {
  EXPECT_FALSE(Writes(kId, {"1"}));
  EXPECT_FALSE(Writes(kId, {"0"}));
}

TEST(LogPreference, TrueWritesWhateverTheDefault) {
  EXPECT_TRUE(Writes(kId, {"0", "yes"}));
  EXPECT_TRUE(Writes(kId, {"1", "yes"}));
}

TEST(LogPreference, FalseWritesNothingWhateverTheDefault) {
  EXPECT_FALSE(Writes(kId, {"0", "no"}));
  EXPECT_FALSE(Writes(kId, {"1", "no"}));
}

TEST(LogPreference, ProgramWithoutIdentifierFollowsTheDefault) {
  EXPECT_TRUE(Writes("", {"1"}));
  EXPECT_FALSE(Writes("", {"0"}));
  EXPECT_TRUE(Writes("", {"1", "no"})) << "a preference without a bundle";
}

// GNUstep takes the whole environment for UTF-8, and cannot be asked otherwise.
TEST(LogPreference, AnEnvironmentThatIsNotUtf8FollowsTheDefault) {
  oru_test::ChildOptions options;
  options.env["LATIN_1"] = "caf\xe9";
  const ChildResult child = oru_test::RunChild({ORU_LOG_PREFERENCE_PROBE, "line"}, options);
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.err;
  EXPECT_NE(child.err.find("[I] (probe.mm:1): shown\n"), std::string::npos) << child.err;
}

TEST(LogPreference, BooleanWordsCountInAnyCase) {
  for (const char* word : {"text:YES", "text:true", "text:1", "int:1", "int:2", "int:-1"}) {
    EXPECT_TRUE(Writes(kId, {"0", word})) << word;
  }
  for (const char* word : {"text:no", "text:False", "text:0", "int:0"}) {
    EXPECT_FALSE(Writes(kId, {"1", word})) << word;
  }
}

TEST(LogPreference, WhatIsNoBooleanWritesNothing) {
  for (const char* word : {"text:maybe", "text:2", "real:1.0", "real:0.0", "list"}) {
    EXPECT_FALSE(Writes(kId, {"1", word})) << word;
  }
}

TEST(LogPreference, GlobalDomainIsReadToo) { EXPECT_TRUE(Writes(kId, {"0", "global:yes"})); }

}  // namespace
