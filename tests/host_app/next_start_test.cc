// Crash, start again, upload, gone: through the built programs.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using Strings = std::vector<std::string>;

class NextStartTest : public testing::Test {
 protected:
  ChildResult Run(const Strings& more = {}) {
    Strings command = {
        HOST_APP,    "--look-back",     "--app-id",  "app",        "--session-id",
        "session",   "--sdk-version",   "6.1.0",     "--dump-dir", dir_.Join("dumps"),
        "--log-dir", dir_.Join("logs"), "--work-ms", "200"};
    command.insert(command.end(), more.begin(), more.end());
    return oru_test::RunChild(command, options_);
  }

  ChildResult RunAndSend(const std::string& endpoint) {
    return Run({"--upload-command", ORU_VARNOOK, "--library-path", ORU_FRAMEWORKS, "--endpoint",
                endpoint, "--bucket", "crashes"});
  }

  void Crash() {
    options_.before = [] { signal(SIGSEGV, SIG_DFL); };
    const ChildResult run = Run({"--crash", "segv"});
    ASSERT_EQ(run.signal, SIGSEGV) << run.err;
    options_.before = nullptr;
  }

  Strings Reports() const { return oru_test::ListDir(dir_.Join("dumps/6.1.0")); }

  std::string Arrived() const { return "file://" + dir_.Join("arrived"); }

  oru_test::TempDir dir_;
  oru_test::ChildOptions options_;
};

bool Says(const ChildResult& run, const std::string& text) {
  return run.err.find(text) != std::string::npos;
}

TEST_F(NextStartTest, ACrashIsSentAtTheNextStartAndIsGone) {
  ASSERT_NO_FATAL_FAILURE(Crash());
  const Strings reports = Reports();
  ASSERT_EQ(reports.size(), 1U);
  options_.env = {{"HOST_APP_KEY_SECRET", "the-secret"}};
  const ChildResult next = RunAndSend(Arrived());
  EXPECT_EQ(next.exit_code, 0) << next.err;
  EXPECT_TRUE(Says(next, "host_app: the last run crashed\nhost_app: sent " + reports[0] + "\n"))
      << next.err;
  EXPECT_FALSE(Says(next, "the-secret"));
  EXPECT_EQ(Reports(), Strings{});
  const Strings archives = oru_test::ListFilesRecursively(dir_.Join("arrived"));
  ASSERT_EQ(archives.size(), 1U);
  const ChildResult listing =
      oru_test::RunChild({"/usr/bin/zipinfo", "-1", dir_.Join("arrived/" + archives[0])});
  EXPECT_EQ(oru_test::SplitLines(listing.out),
            (Strings{reports[0], "log/host_app.log", "trace/host_app_trace.json"}));
  EXPECT_TRUE(Says(Run(), "host_app: the last run ended well\n"));
}

TEST_F(NextStartTest, AReportThatCouldNotBeSentIsTriedAtTheNextStart) {
  ASSERT_NO_FATAL_FAILURE(Crash());
  const ChildResult failed = RunAndSend("gopher://nowhere");
  EXPECT_TRUE(Says(failed, "host_app: could not send ")) << failed.err;
  EXPECT_EQ(Reports().size(), 1U);
  EXPECT_TRUE(Says(RunAndSend(Arrived()), "host_app: sent "));
  EXPECT_EQ(Reports(), Strings{});
}

// Other starts look after the folder all the while: no report of a crash is lost or cut.
TEST_F(NextStartTest, CrashesBesideOtherStartsLeaveWholeReports) {
  constexpr int kCrashes = 12;
  options_.timeout_s = 120;
  options_.env = {{"HOST_APP", HOST_APP}};
  const ChildResult run = oru_test::RunChild(
      {"/bin/bash", "-c",
       "ulimit -c 0\n"
       "app() { \"$HOST_APP\" --look-back --app-id app --sdk-version 6.1.0 --dump-dir " +
           dir_.Join("dumps") + " --log-dir " + dir_.Join("logs") +
           "/$1 --session-id \"$@\"; }\n"
           "touch " +
           dir_.Join("on") +
           "\n"
           "for i in 1 2; do (while [ -e " +
           dir_.Join("on") +
           " ]; do app keeper$i; done) & done\n"
           "for i in $(seq " +
           std::to_string(kCrashes / 4) +
           "); do for j in 1 2 3 4; do app s$i-$j --crash segv & crashes+=($!); done\n"
           "wait \"${crashes[@]}\"; crashes=(); done\n"
           "rm " +
           dir_.Join("on") + "\nwait\nexit 0\n"},
      options_);
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const Strings reports = Reports();
  EXPECT_EQ(reports.size(), static_cast<size_t>(kCrashes));
  for (const std::string& report : reports) {
    const std::string text = oru_test::ReadFile(dir_.Join("dumps/6.1.0/" + report));
    EXPECT_NE(text.find("\nUserCustomInfo:\n"), std::string::npos) << report;
  }
}

TEST_F(NextStartTest, ACrashOfTheAppsOwnLeavesNoReportAndIsKnownAllTheSame) {
  EXPECT_TRUE(Says(Run(), "host_app: the last run is not known\n"));
  const ChildResult run = Run({"--crash", "segv", "--outside-sdk"});
  ASSERT_EQ(run.signal, SIGSEGV) << run.err;
  EXPECT_TRUE(Says(Run(), "host_app: the last run ended without a word\n"));
}

}  // namespace
