#include "tests/support/child_process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

namespace oru_test {
namespace {

TEST(RunChild, ReportsExitStatusAndBothOutputs) {
  const ChildResult result = RunChild({"/bin/sh", "-c", "echo out; echo err >&2; exit 3"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.out, "out\n");
  EXPECT_EQ(result.err, "err\n");
  EXPECT_EQ(result.Ending(), "exit 3");
}

TEST(RunChild, ReportsTheSignalThatEndedTheChild) {
  const ChildResult result = RunChild({"/bin/sh", "-c", "kill -SEGV $$"});
  EXPECT_EQ(result.signal, SIGSEGV);
  EXPECT_EQ(result.exit_code, -1);
}

TEST(RunChild, KillsWhatRunsTooLong) {
  ChildOptions options;
  options.timeout_s = 0.2;
  const ChildResult result = RunChild({"/bin/sleep", "20"}, options);
  EXPECT_TRUE(result.timed_out);
  EXPECT_LT(result.wall_s, 10);
}

TEST(RunChild, FeedsStandardInput) {
  ChildOptions options;
  options.input = std::string(300000, 'x');
  EXPECT_EQ(RunChild({"/bin/cat"}, options).out, options.input);
}

TEST(RunChild, ChangesTheEnvironment) {
  ChildOptions options;
  options.env["ORU_ADDED"] = "a\xff";
  options.unset_env = {"HOME"};
  const ChildResult result =
      RunChild({"/bin/sh", "-c", "printf %s \"$ORU_ADDED${HOME-none}\""}, options);
  EXPECT_EQ(result.out, "a\xffnone");
}

TEST(RunInFork, RunsTheFunctionInAnotherProcess) {
  const pid_t parent = getpid();
  const ChildResult result = RunInFork([parent] {
    printf("from the child\n");
    return getpid() != parent ? 7 : 8;
  });
  EXPECT_EQ(result.exit_code, 7);
  EXPECT_EQ(result.out, "from the child\n");
}

}  // namespace
}  // namespace oru_test
